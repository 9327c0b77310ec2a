// A slow and simple decoding of bitmap files, to compare loading with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/support/Pty.h"

namespace Support {

/// The image that the bytes of a file stand for; bytes beyond its end are 0.
class DecodedBitmap {
public:
    explicit DecodedBitmap(Bytes file) : m_file(std::move(file)) {}

    [[nodiscard]] std::int32_t Width() const { return static_cast<std::int32_t>(Number(18, 4)); }
    [[nodiscard]] std::int32_t Height() const { return static_cast<std::int32_t>(Number(22, 4)); }
    [[nodiscard]] bool Is24Bit() const { return Number(28, 2) == 24; }
    [[nodiscard]] bool IsEmpty() const { return Width() < 1 || Height() < 1; }
    [[nodiscard]] std::int64_t Pixels() const { return IsEmpty() ? 0 : std::int64_t{Width()} * Height(); }
    [[nodiscard]] bool IsLoaded() const { return Is24Bit() && Pixels() <= MAX_PIXELS; }
    /// 3 bytes per pixel; rows from the bottom up, padded to a multiple of 4 bytes.
    [[nodiscard]] std::uint32_t Pixel(std::size_t index) const
    {
        const auto width = static_cast<std::size_t>(Width());
        const std::size_t row = static_cast<std::size_t>(Height()) - 1 - index / width;
        return Number(std::uint64_t{Number(10, 4)} + row * ((width * 3 + 3) / 4 * 4) + index % width * 3, 3);
    }

    static constexpr int MAX_PIXELS = 64 << 20;  // that are loaded

private:
    [[nodiscard]] std::uint32_t Number(std::uint64_t offset, std::size_t size) const
    {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size && offset + i < m_file.size(); ++i) {
            number |= std::uint32_t{m_file[static_cast<std::size_t>(offset) + i]} << 8 * i;
        }
        return number;
    }

    const Bytes m_file;
};

}  // namespace Support
