// Reads the pixel array of a bitmap file in large blocks.
#include "ioctl/internal/PixelFile.h"

#include <algorithm>

#include <unistd.h>

#include "ioctl/internal/Pixels.h"

namespace IOCTL {

namespace {

constexpr std::size_t PIXEL_BYTES = 3;
constexpr std::size_t ROW_ALIGNMENT = 4;

}  // namespace

bool PixelFile::ReadRow(std::uint32_t* pixels, std::size_t count)
{
    for (std::size_t done = 0; done < count;) {
        if (!Fetch(PIXEL_BYTES)) {
            return false;
        }
        const std::size_t whole = std::min(count - done, (m_end - m_begin) / PIXEL_BYTES);
        if (whole == 0) {
            ReadLast(pixels + done);
            return true;
        }
        Pixels::Unpack(pixels + done, &m_block[m_begin], whole);
        m_begin += whole * PIXEL_BYTES;
        done += whole;
    }
    return SkipPadding(count * PIXEL_BYTES);
}

/// Completes a pixel that the end of the file cuts. Later pixels are not touched, so their memory pages are never
/// allocated.
void PixelFile::ReadLast(std::uint32_t* pixel)
{
    if (m_begin < m_end) {
        std::array<unsigned char, PIXEL_BYTES> bytes = {};
        std::copy(m_block.begin() + m_begin, m_block.begin() + m_end, bytes.begin());
        Pixels::Unpack(pixel, bytes.data(), 1);
        m_begin = m_end;
    }
}

bool PixelFile::SkipPadding(std::size_t rowBytes)
{
    const std::size_t padding = (ROW_ALIGNMENT - rowBytes % ROW_ALIGNMENT) % ROW_ALIGNMENT;
    const bool isRead = Fetch(padding);
    m_begin += std::min(padding, m_end - m_begin);
    return isRead;
}

/// Reads until at least `least` bytes are buffered or the file ends.
bool PixelFile::Fetch(std::size_t least)
{
    if (m_end - m_begin >= least || m_hasEnded) {
        return true;
    }
    m_end = static_cast<std::size_t>(std::copy(m_block.begin() + m_begin, m_block.begin() + m_end, m_block.begin()) -
                                     m_block.begin());
    m_begin = 0;
    while (m_end < least) {
        const ssize_t bytes = read(m_fd, &m_block[m_end], m_block.size() - m_end);
        if (bytes <= 0) {
            m_hasEnded = bytes == 0;
            return m_hasEnded;
        }
        m_end += static_cast<std::size_t>(bytes);
    }
    return true;
}

}  // namespace IOCTL
