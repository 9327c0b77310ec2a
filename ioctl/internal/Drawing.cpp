// Drawing of images on a screen in memory.
#include "ioctl/internal/Drawing.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "ioctl/internal/Pixels.h"

namespace IOCTL {

namespace {

/// The visible part of an image in one direction.
struct Visible {
    std::int32_t skip;   // pixels left out in front
    std::int32_t first;  // its first pixel on the screen
    std::int32_t count;  // 0 when there is none
};

Visible Clip(std::int32_t position, std::int32_t size, std::int32_t bound)
{
    const std::int64_t first = std::max(position, 0);
    const std::int64_t end = std::min(std::int64_t{position} + size, std::int64_t{bound});
    if (end <= first) {
        return {0, 0, 0};
    }
    return {static_cast<std::int32_t>(first - position), static_cast<std::int32_t>(first),
            static_cast<std::int32_t>(end - first)};
}

bool CanBeDrawn(const tBMP& bmp)
{
    const bool hasBackground = bmp.nBgMode == 0 || bmp.nBgMode == 1 || bmp.pBgData != nullptr;
    const bool passesKey = bmp.nKeyMode == 0 || bmp.nKeyMode == 1;
    return bmp.pData != nullptr && hasBackground && passesKey;
}

/// Copies a row of pixels, except those of the key colour.
void CopyRow(std::uint32_t* to, const std::uint32_t* pixels, std::size_t count, const tBMP& bmp)
{
    if (bmp.nKeyMode == 1) {
        Pixels::CopyExcept(to, pixels, pixels, count, bmp.nKeyColor);
    } else {
        std::copy_n(pixels, count, to);
    }
}

/// Draws a row of pixels blended with their background, except those of the key colour.
void BlendRow(const Screen& screen, std::size_t place, const std::uint32_t* pixels, std::size_t count, const tBMP& bmp)
{
    std::array<std::uint32_t, Pixels::RUN> colour;
    if (bmp.nBgMode == 1) {
        std::fill_n(colour.begin(), std::min(Pixels::RUN, count), bmp.nBgColor);
    }
    for (std::size_t done = 0; done < count; done += Pixels::RUN) {
        std::uint32_t* const to = screen.pixels + place + done;
        const std::uint32_t* background = colour.data();
        if (bmp.nBgMode != 1) {
            background = bmp.nBgMode == 0 ? to : bmp.pBgData + place + done;
        }
        const std::size_t run = std::min(Pixels::RUN, count - done);
        const int weight = std::max(bmp.nAlpha, 0);
        if (bmp.nKeyMode == 1) {
            std::array<std::uint32_t, Pixels::RUN> mixed;
            Pixels::Mix(mixed.data(), pixels + done, background, run, weight);
            Pixels::CopyExcept(to, mixed.data(), pixels + done, run, bmp.nKeyColor);
        } else {
            Pixels::Mix(to, pixels + done, background, run, weight);
        }
    }
}

}  // namespace

void DrawBitmap(const Screen& screen, int x, int y, const tBMP& bmp)
{
    const Visible columns = Clip(x, bmp.nWidth, screen.columns);
    const Visible rows = Clip(y, bmp.nHeight, screen.rows);
    if (!CanBeDrawn(bmp) || columns.count == 0) {
        return;
    }
    const bool isBlended = (bmp.nKeyMode != 0 || bmp.nBgMode != 0) && bmp.nAlpha < 256;
    auto count = static_cast<std::size_t>(columns.count);
    std::int32_t drawn = rows.count;
    if (columns.count == bmp.nWidth && columns.count == screen.width) {  // no gaps between rows: draw them as one
        count *= static_cast<std::size_t>(drawn);
        drawn = std::min(drawn, 1);
    }
    for (std::int32_t row = 0; row < drawn; ++row) {
        const std::uint32_t* const pixels = bmp.pData + std::ptrdiff_t{rows.skip + row} * bmp.nWidth + columns.skip;
        const std::size_t place = static_cast<std::size_t>(rows.first + row) * static_cast<std::size_t>(screen.width) +
                                  static_cast<std::size_t>(columns.first);
        if (isBlended) {
            BlendRow(screen, place, pixels, count, bmp);
        } else {
            CopyRow(screen.pixels + place, pixels, count, bmp);
        }
    }
}

}  // namespace IOCTL
