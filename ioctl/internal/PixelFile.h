// Reads the pixel array of a bitmap file in large blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace IOCTL {

/// Reads rows of 3-byte pixels, each padded to a multiple of 4 bytes, from where a descriptor stands.
class PixelFile {
public:
    explicit PixelFile(int fd) : m_fd(fd) {}

    /// Fills a row. Where the file ends, pixels that lie behind its end are left as they are; of a pixel that it cuts,
    /// the missing bytes become 0. False when a read fails, with its `errno`.
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
