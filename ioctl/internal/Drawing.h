// Drawing of images on a screen in memory.
#pragma once

#include <cstdint>

#include "ioctl/CFBLib.h"

namespace IOCTL {

/// A screen in memory, without gaps between rows. Drawing is limited to its first `columns` and `rows`.
struct Screen {
    std::uint32_t* pixels;
    std::int32_t width;  ///< pixels per row
    std::int32_t columns;
    std::int32_t rows;
};

/// Draws what `CFBLib::DrawBmp` describes. `pixels` is not used when there are no columns or no rows.
void DrawBitmap(const Screen& screen, int x, int y, const tBMP& bmp);

}  // namespace IOCTL
