// A slow and simple model of the display, to compare drawing with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ioctl/CFBLib.h"
#include "tests/support/Bmp.h"

namespace Support {

/// The screen, drawn on one pixel after the other, with the operations of the display.
struct ScreenModel {
    int width, height;
    int areaWidth, areaHeight;
    Pixels pixels;  // and the rest of the last page

    std::uint32_t* At(std::int64_t x, std::int64_t y)
    {
        const bool isInside = x >= 0 && y >= 0 && x < std::min(width, areaWidth) && y < std::min(height, areaHeight);
        return isInside ? &pixels[static_cast<std::size_t>(y * width + x)] : nullptr;
    }
    static std::uint32_t Mix(std::uint32_t a, std::uint32_t weight, std::uint32_t b)
    {
        std::uint32_t mixed = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            mixed |= ((a >> shift & 0xFF) * weight + (b >> shift & 0xFF) * (256 - weight)) >> 8 << shift;
        }
        return mixed;
    }

    void ScreenClear(int color) { std::fill_n(pixels.begin(), width * height, color == 0 ? 0U : 0xFFFFFFFFU); }
    void DrawPixel(int x, int y, unsigned long color)
    {
        if (std::uint32_t* const pixel = At(x, y)) {
            *pixel = static_cast<std::uint32_t>(color & 0xFFFFFFFF);
        }
    }
    void setAlpha(int alpha)
    {
        const auto weight = static_cast<std::uint32_t>(std::clamp(alpha, 0, 256));
        std::for_each_n(pixels.begin(), width * height, [&](std::uint32_t& pixel) { pixel = Mix(pixel, weight, 0); });
    }
    void DrawBmp(int x, int y, const IOCTL::tBMP& bmp)
    {
        const bool usesBuffer = bmp.nBgMode != 0 && bmp.nBgMode != 1;
        const bool isCopied = (bmp.nKeyMode == 0 && bmp.nBgMode == 0) || bmp.nAlpha > 255;
        const auto weight = static_cast<std::uint32_t>(std::clamp(bmp.nAlpha, 0, 256));
        if (bmp.pData == nullptr || (usesBuffer && bmp.pBgData == nullptr)) {
            return;
        }
        for (std::int64_t i = 0; i < std::int64_t{bmp.nWidth} * bmp.nHeight && bmp.nWidth > 0; ++i) {
            std::uint32_t* const to = At(x + i % bmp.nWidth, y + i / bmp.nWidth);
            const std::uint32_t pixel = bmp.pData[i];
            if (to != nullptr && (bmp.nKeyMode == 0 || (bmp.nKeyMode == 1 && pixel != bmp.nKeyColor))) {
                const std::uint32_t* const buffer = usesBuffer ? bmp.pBgData + (to - pixels.data()) : to;
                *to = isCopied ? pixel : Mix(pixel, weight, bmp.nBgMode == 1 ? bmp.nBgColor : *buffer);
            }
        }
    }
};

}  // namespace Support
