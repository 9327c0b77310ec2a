// The operator of the simulated board's display: finds what has newly appeared on the screen.
#pragma once

#include <optional>

#include "sim/devices/Screen.h"

namespace Sim {

class Operator {
public:
    struct Point {
        int x;
        int y;
    };

    /// Remembers what is on the screen now.
    void Remember();
    /// Finds the box around what has changed since he last remembered the screen, and returns its middle; std::nullopt
    /// when nothing has changed. Ignores changes inside the box that he found last. After a find he remembers the
    /// screen anew.
    std::optional<Point> Look();

private:
    /// The first and the last column and row; empty by default.
    struct Box {
        int left = 0;
        int top = 0;
        int right = -1;
        int bottom = -1;
    };

    [[nodiscard]] Box Changed(const Picture& now) const;

    Picture m_remembered;
    Box m_found;
};

}  // namespace Sim
