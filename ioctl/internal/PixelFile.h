// Reads the pixel array of a bitmap file in large blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace IOCTL {

/// Reads rows of 3-byte pixels from a descriptor's current position. Each row is padded to a multiple of 4 bytes.
class PixelFile {
public:
    explicit PixelFile(int fd) : m_fd(fd) {}

    /// Fills a row. Pixels beyond the end of the file are left alone; missing bytes of a pixel that the end cuts become
    /// 0. False when a read fails, with its `errno`.
    bool ReadRow(std::uint32_t* pixels, std::size_t count);

private:
    bool Fetch(std::size_t least);
    void ReadLast(std::uint32_t* pixel);
    bool SkipPadding(std::size_t rowBytes);

    int m_fd;
    bool m_hasEnded = false;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::array<unsigned char, 32768> m_block;
};

}  // namespace IOCTL
