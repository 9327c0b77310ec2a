// BMP files for tests.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/Pty.h"

namespace Support {

using Pixels = std::vector<std::uint32_t>;

/// Pixels that all differ: made from their place in the image and from `seed`.
inline Pixels Pattern(int width, int height, unsigned int seed)
{
    Pixels pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<std::uint32_t>(i * 0x010203 + seed * 0x9E3779B1U) & 0x00FFFFFF;
    }
    return pixels;
}

/// Puts a number into a file, low byte first.
inline void Put(Bytes& file, std::size_t offset, std::size_t size, std::uint32_t value)
{
    for (std::size_t i = 0; i < size; ++i) {
        file.at(offset + i) = static_cast<unsigned char>(value >> 8 * i);
    }
}

/// The headers of a BMP file of 24 bits.
inline Bytes BmpHeader(std::int32_t width, std::int32_t height)
{
    Bytes file(54, 0);
    Put(file, 0, 2, 'B' | 'M' << 8);
    Put(file, 10, 4, 54);
    Put(file, 14, 4, 40);
    Put(file, 18, 4, static_cast<std::uint32_t>(width));
    Put(file, 22, 4, static_cast<std::uint32_t>(height));
    Put(file, 26, 2, 1);
    Put(file, 28, 2, 24);
    return file;
}

/// A BMP file of `Pattern`, from the bottom row up. The bytes that fill its rows up are not 0.
inline Bytes BmpFile(int width, int height, unsigned int seed = 0)
{
    Bytes file = BmpHeader(width, height);
    const Pixels pixels = Pattern(width, height, seed);
    const auto columns = static_cast<std::size_t>(width);
    for (std::size_t row = pixels.size() / columns; row-- > 0;) {
        for (std::size_t column = 0; column < columns; ++column) {
            file.append(3, 0);
            Put(file, file.size() - 3, 3, pixels[row * columns + column]);
        }
        file.append((4 - columns * 3 % 4) % 4, 0xDD);
    }
    return file;
}

/// A file in memory that exists as long as this object.
class MemoryFile {
public:
    explicit MemoryFile(const Bytes& content = {})
        : m_fd(memfd_create("file", MFD_CLOEXEC)), m_path("/proc/self/fd/" + std::to_string(m_fd))
    {
        Write(content);
    }
    ~MemoryFile() { close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void Write(const Bytes& content) const
    {
        const auto size = static_cast<off_t>(content.size());
        if (ftruncate(m_fd, size) != 0 || pwrite(m_fd, content.data(), content.size(), 0) != size) {
            throw std::system_error(errno, std::generic_category(), "file in memory");
        }
    }
    [[nodiscard]] const char* Path() const { return m_path.c_str(); }

private:
    int m_fd;
    std::string m_path;
};

}  // namespace Support
