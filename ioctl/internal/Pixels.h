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

/// The most pixels that `Mix` takes at a time: what it works on stays in the nearest cache.
inline constexpr std::size_t RUN = 256;

/// Multiplies each channel by `weight` / 256 (0 to 256) and clears the top bytes.
void Dim(std::uint32_t* pixels, std::size_t count, int weight);

/// At most RUN pixels, each channel blended with the background's by `weight` / 256 (0 to 255), top bytes 0.
void Mix(std::uint32_t* mixed, const std::uint32_t* pixels, const std::uint32_t* background, std::size_t count,
         int weight);

/// Copies `layer` but where `pixels` has the key colour.
void CopyExcept(std::uint32_t* to, const std::uint32_t* layer, const std::uint32_t* pixels, std::size_t count,
                std::uint32_t key);

/// Makes pixels of 3 bytes each: blue, green, red.
void Unpack(std::uint32_t* pixels, const unsigned char* bytes, std::size_t count);

}  // namespace IOCTL::Pixels
