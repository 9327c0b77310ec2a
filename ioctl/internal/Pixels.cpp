// Loops over pixels. They work on single bytes, one per channel, with 16-bit products: every vector unit multiplies
// eight or more of these at a time. The top byte of a pixel is processed like a channel, then cleared.
#include "ioctl/internal/Pixels.h"

#include <algorithm>
#include <array>

namespace IOCTL::Pixels {

namespace {

constexpr std::uint32_t COLOUR = 0x00FFFFFF;
constexpr int WHOLE = 256;  // the weight that stands for 1
constexpr std::size_t CHANNELS = sizeof(std::uint32_t);

/// Keeps the colours of RUN pixels and clears their top bytes.
constexpr std::array<std::uint32_t, RUN> COLOURS = [] {
    std::array<std::uint32_t, RUN> masks = {};
    for (std::uint32_t& mask : masks) {
        mask = COLOUR;
    }
    return masks;
}();

void DimChannels(unsigned char* channels, std::size_t count, std::uint16_t weight)
{
    const auto* const colours = reinterpret_cast<const unsigned char*>(COLOURS.data());
    for (std::size_t i = 0; i < count; ++i) {
        const auto product = static_cast<std::uint16_t>(weight * channels[i]);
        channels[i] = static_cast<unsigned char>(product >> 8 & colours[i]);
    }
}

void MixChannels(unsigned char* mixed, const unsigned char* channels, const unsigned char* background,
                 std::size_t count, std::uint16_t weight)
{
    const auto* const colours = reinterpret_cast<const unsigned char*>(COLOURS.data());
    const auto rest = static_cast<std::uint16_t>(WHOLE - weight);
    for (std::size_t i = 0; i < count; ++i) {
        const auto sum = static_cast<std::uint16_t>(weight * channels[i] + rest * background[i]);
        mixed[i] = static_cast<unsigned char>(sum >> 8 & colours[i]);
    }
}

}  // namespace

void Dim(std::uint32_t* pixels, std::size_t count, int weight)
{
    for (std::size_t done = 0; done < count; done += RUN) {
        const std::size_t run = std::min(RUN, count - done);
        DimChannels(reinterpret_cast<unsigned char*>(pixels + done), run * CHANNELS,
                    static_cast<std::uint16_t>(weight));
    }
}

void Mix(std::uint32_t* mixed, const std::uint32_t* pixels, const std::uint32_t* background, std::size_t count,
         int weight)
{
    MixChannels(reinterpret_cast<unsigned char*>(mixed), reinterpret_cast<const unsigned char*>(pixels),
                reinterpret_cast<const unsigned char*>(background), count * CHANNELS,
                static_cast<std::uint16_t>(weight));
}

void CopyExcept(std::uint32_t* to, const std::uint32_t* layer, const std::uint32_t* pixels, std::size_t count,
                std::uint32_t key)
{
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t kept = to[i];  // unconditional: compilers do not vectorise a conditional load
        const std::uint32_t drawn = layer[i];
        to[i] = pixels[i] == key ? kept : drawn;
    }
}

void Unpack(std::uint32_t* pixels, const unsigned char* bytes, std::size_t count)
{
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4, bytes += 12) {  // four pixels are three words
        const std::uint32_t first = Load32(bytes);
        const std::uint32_t second = Load32(bytes + 4);
        const std::uint32_t third = Load32(bytes + 8);
        pixels[i] = first & COLOUR;
        pixels[i + 1] = (first >> 24 | second << 8) & COLOUR;
        pixels[i + 2] = (second >> 16 | third << 16) & COLOUR;
        pixels[i + 3] = third >> 8;
    }
    for (; i < count; ++i, bytes += 3) {
        pixels[i] = std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16;
    }
}

}  // namespace IOCTL::Pixels
