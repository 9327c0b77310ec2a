// Loops over pixels, kept plain so that compilers vectorise them.
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

/// The most pixels that `Mix` takes at a time: few enough to stay in the first-level cache.
inline constexpr std::size_t RUN = 256;

/// Multiplies each channel by `weight` / 256 and clears the top bytes. `weight` is 0 to 256.
void Dim(std::uint32_t* pixels, std::size_t count, int weight);

/// Blends each channel of at most RUN pixels with the background's by `weight` / 256; top bytes become 0. `weight` is 0
/// to 255.
void Mix(std::uint32_t* mixed, const std::uint32_t* pixels, const std::uint32_t* background, std::size_t count,
         int weight);

/// Copies `layer` except where `pixels` has the key colour. `layer` may be `pixels`.
void CopyExcept(std::uint32_t* to, const std::uint32_t* layer, const std::uint32_t* pixels, std::size_t count,
                std::uint32_t key);

/// Builds each pixel from 3 bytes: blue, green, red. Top bytes are 0.
void Unpack(std::uint32_t* pixels, const unsigned char* bytes, std::size_t count);

}  // namespace IOCTL::Pixels
