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

    /// Begins anew, with what is on the screen now.
    void Remember();
    /// The middle of what has changed since he last remembered the screen, not counting what is inside the box that he
    /// found last; then he remembers the screen anew. Nothing when nothing has changed.
    std::optional<Point> Look();

private:
    /// Columns and rows from the first to the last; none at first.
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
