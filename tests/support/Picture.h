// Pictures that a test looks at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <png.h>

namespace Support {

struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint32_t> pixels;  ///< 0xAARRGGBB, row by row from the top
};

/// A PNG file; a picture without pixels when it cannot be read.
inline Picture ReadPng(const std::string& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    Picture picture;
    if (png_image_begin_read_from_file(&image, path.c_str()) != 0) {
        image.format = PNG_FORMAT_BGRA;
        picture = {image.width, image.height, std::vector<std::uint32_t>(std::size_t{image.width} * image.height)};
        if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) {
            picture = {};
        }
    }
    png_image_free(&image);
    return picture;
}

}  // namespace Support
