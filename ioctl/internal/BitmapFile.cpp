// Loading of 24-bit BMP files.
#include "ioctl/internal/BitmapFile.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "common/internal/UniqueFd.h"
#include "ioctl/internal/PixelFile.h"
#include "ioctl/internal/Pixels.h"

namespace IOCTL {

namespace {

constexpr auto OPERATION = "CreateBitmap";  // in log lines

// Sizes of a BMP file's headers, and offsets of the fields used, all little-endian.
constexpr std::size_t FILE_HEADER_SIZE = 14;
constexpr std::size_t INFO_HEADER_SIZE = 40;
constexpr std::size_t BF_OFF_BITS = 10;
constexpr std::size_t BI_WIDTH = 4;
constexpr std::size_t BI_HEIGHT = 8;
constexpr std::size_t BI_BIT_COUNT = 14;

constexpr std::int64_t MAX_BITMAP_PIXELS = 64 << 20;

/// Allocates the record's pixels for its size; null for an empty image. False when the image is too large or memory is
/// short.
bool AllocatePixels(tBMP& bmp)
{
    if (bmp.nWidth < 1 || bmp.nHeight < 1) {
        bmp.pData = nullptr;
        return true;
    }
    const std::int64_t count = std::int64_t{bmp.nWidth} * bmp.nHeight;
    void* const pixels =
        count <= MAX_BITMAP_PIXELS ? std::calloc(static_cast<std::size_t>(count), sizeof(std::uint32_t)) : nullptr;
    if (pixels == nullptr) {
        return false;
    }
    bmp.pData = static_cast<std::uint32_t*>(pixels);
    return true;
}

/// Reads the rows, the bottom one first. False when a read fails, with its `errno`.
bool ReadPixels(int fd, const tBMP& bmp)
{
    PixelFile file(fd);
    bool isRead = true;
    if (bmp.pData != nullptr) {
        for (std::ptrdiff_t row = bmp.nHeight - 1; row >= 0 && isRead; --row) {
            isRead = file.ReadRow(bmp.pData + row * bmp.nWidth, static_cast<std::size_t>(bmp.nWidth));
        }
    }
    return isRead;
}

}  // namespace

int LoadBitmap(tBMP& bmp, char const* path, Common::Logger::CFileLogger& logger)
{
    logger.WriteDebug("[%s] START", OPERATION);
    const Common::UniqueFd file(open(path, O_RDONLY));
    if (!file.IsValid()) {
        logger.WriteError("[%s] BMP File Open Error", OPERATION);
        return -1;
    }
    // The numbers are part of the log's fixed texts: each names a step and is no line of this file.
    const auto failed = [&](int step, const char* call) {
        logger.WriteError("[%s] LINE(%d) - %s returned %d", OPERATION, step, call, errno);
        return -1;
    };

    std::array<unsigned char, FILE_HEADER_SIZE> fileHeader = {};
    std::array<unsigned char, INFO_HEADER_SIZE> infoHeader = {};
    if (lseek(file.Get(), 0, SEEK_SET) < 0) {
        return failed(242, "lseek");
    }
    if (read(file.Get(), fileHeader.data(), fileHeader.size()) < 0) {
        return failed(249, "read");
    }
    if (read(file.Get(), infoHeader.data(), infoHeader.size()) < 0) {
        return failed(260, "read");
    }
    bmp.nWidth = static_cast<std::int32_t>(Pixels::Load32(&infoHeader[BI_WIDTH]));
    bmp.nHeight = static_cast<std::int32_t>(Pixels::Load32(&infoHeader[BI_HEIGHT]));
    bmp.nKeyMode = 0;
    bmp.nKeyColor = 0;
    bmp.nBgMode = 0;
    if ((Pixels::Load32(&infoHeader[BI_BIT_COUNT]) & 0xFFFF) != 24) {
        logger.WriteError("[%s] no 24bit bmp", OPERATION);
        return -1;
    }
    if (!AllocatePixels(bmp)) {
        logger.WriteError("[%s] Bitmap Memory error", OPERATION);
        return -1;
    }
    if (lseek(file.Get(), static_cast<off_t>(Pixels::Load32(&fileHeader[BF_OFF_BITS])), SEEK_SET) < 0) {
        return failed(280, "lseek");
    }
    return ReadPixels(file.Get(), bmp) ? 0 : failed(292, "read");
}

}  // namespace IOCTL
