// Pictures of the simulated board's screen, for its launcher.
#include "sim/launcher/Screenshot.h"

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <png.h>

namespace Screenshot {

namespace {

std::vector<std::uint32_t> Pixels(const std::string& path, int width, int height)
{
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const auto size = static_cast<std::streamsize>(pixels.size() * sizeof(std::uint32_t));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(pixels.data()), size)) {
        throw std::runtime_error("cannot read " + path);
    }
    return pixels;
}

/// Red, green and blue of each pixel.
std::vector<unsigned char> Colours(const std::vector<std::uint32_t>& pixels)
{
    std::vector<unsigned char> colours;
    for (const std::uint32_t pixel : pixels) {
        for (const int shift : {16, 8, 0}) {
            colours.push_back(static_cast<unsigned char>(pixel >> shift));
        }
    }
    return colours;
}

}  // namespace

void CheckWritable(const std::string& path)
{
    if (!std::ofstream(path, std::ios::app)) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

void Write(const std::string& path, const std::string& screen, int width, int height)
{
    const std::vector<unsigned char> colours = Colours(Pixels(screen, width, height));
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    // Not with libpng's own output to a file: on failure it removes the file, even a device.
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<char> picture(size);
    if (png_image_write_to_memory(&image, picture.data(), &size, 0, colours.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    std::ofstream file(path, std::ios::binary);
    file.write(picture.data(), static_cast<std::streamsize>(size));
    file.close();
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

}  // namespace Screenshot
