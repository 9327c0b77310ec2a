// The loops over pixels: plain ones that compilers turn into vector instructions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace IOCTL::Pixels {

/// A little-endian word.
inline std::uint32_t Load32(const unsigned char* bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

/// The most pixels that `Mix` takes at a time: few enough to stay in the nearest cache.
inline constexpr std::size_t RUN = 256;

/// Multiplies each channel by `weight` / 256 (0 to 256) and clears the top bytes.
void Dim(std::uint32_t* pixels, std::size_t count, int weight);

/// At most RUN pixels, each channel blended with the background's by `weight` / 256 (0 to 255), top bytes 0.
void Mix(std::uint32_t* mixed, const std::uint32_t* pixels, const std::uint32_t* background, std::size_t count,
         int weight);

/// Copies `layer` except where `pixels` has the key colour. `layer` may be `pixels`.
void CopyExcept(std::uint32_t* to, const std::uint32_t* layer, const std::uint32_t* pixels, std::size_t count,
                std::uint32_t key);

/// Makes each pixel of 3 bytes: blue, green, red. Top bytes are 0.
void Unpack(std::uint32_t* pixels, const unsigned char* bytes, std::size_t count);

}  // namespace IOCTL::Pixels
