// What is on the simulated board's display, for devices that look at it.
#pragma once

#include <cstdint>
#include <vector>

namespace Sim {

struct Picture {
    int width = 0;  ///< in pixels, as the height
    int height = 0;
    std::vector<std::uint32_t> pixels;  ///< row by row from the top
};

Picture LookAtScreen();
/// The size alone, without pixels.
Picture ScreenSize();

}  // namespace Sim
