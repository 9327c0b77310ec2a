// Drawing of images on a screen in memory.
#pragma once

#include <cstdint>

#include "ioctl/CFBLib.h"

namespace IOCTL {

/// A screen in memory, rows without gaps, and how much of it may be drawn on: its left columns and its upper rows.
struct Screen {
    std::uint32_t* pixels;
    std::int32_t width;  ///< pixels per row
    std::int32_t columns;
    std::int32_t rows;
};

/// Draws what `CFBLib::DrawBmp` describes. Without columns or rows `pixels` is not used.
void DrawBitmap(const Screen& screen, int x, int y, const tBMP& bmp);

}  // namespace IOCTL
