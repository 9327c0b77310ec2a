// The board's display: its framebuffer device, drawing, and bitmaps.
#include "ioctl/CFBLib.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "common/internal/UniqueFd.h"
#include "ioctl/internal/PixelFile.h"
#include "ioctl/internal/Pixels.h"

namespace IOCTL {

namespace {

constexpr const char* FB_DEV = "/dev/fb0";

/// The display area, as the display driver takes it.
struct OsdInfo {
    std::int32_t nReserved;  // 0
    std::int32_t nBpp;
    std::int32_t nWidth;
    std::int32_t nHeight;
    std::int32_t nX;
    std::int32_t nY;
};

constexpr unsigned long SET_OSD_INFO = _IOW('F', 0x6F, OsdInfo);
constexpr unsigned long SET_BRIGHTNESS = _IOW('F', 0x02, std::int32_t);
static_assert(SET_OSD_INFO == 0x4018466F && SET_BRIGHTNESS == 0x40044602, "requests of the display driver");
static_assert(FBIOGET_VSCREENINFO == 0x4600, "request of linux/fb.h");

// Headers of a BMP file: their sizes, and the fields used, little-endian, by their offset in the header.
constexpr std::size_t FILE_HEADER_SIZE = 14;
constexpr std::size_t INFO_HEADER_SIZE = 40;
constexpr std::size_t BF_OFF_BITS = 10;
constexpr std::size_t BI_WIDTH = 4;
constexpr std::size_t BI_HEIGHT = 8;
constexpr std::size_t BI_BIT_COUNT = 14;

constexpr std::int64_t MAX_BITMAP_PIXELS = 64 << 20;

std::size_t BytesOf(std::int32_t pixels)
{
    return static_cast<std::size_t>(pixels) * sizeof(std::uint32_t);
}

/// Gives the record a buffer for its size, null for an empty image. False when it is too large or memory is short.
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

/// The part of an image that falls on the screen, in one direction.
struct Visible {
    std::int32_t skip;   // what is left out in front
    std::int32_t first;  // where it begins on the screen
    std::int32_t count;  // 0 when there is none
};

Visible Clip(std::int32_t position, std::int32_t size, std::int32_t bound)
{
    const std::int64_t first = std::max(position, 0);
    const std::int64_t end = std::min(std::int64_t{position} + size, std::int64_t{bound});
    if (end <= first) {
        return {0, 0, 0};
    }
    return {static_cast<std::int32_t>(first - position), static_cast<std::int32_t>(first),
            static_cast<std::int32_t>(end - first)};
}

bool IsCopied(const tBMP& bmp)
{
    return bmp.nKeyMode == 0 && bmp.nBgMode == 0;
}

bool CanBeDrawn(const tBMP& bmp)
{
    const bool hasBackground = bmp.nBgMode == 0 || bmp.nBgMode == 1 || bmp.pBgData != nullptr;
    const bool passesKey = bmp.nKeyMode == 0 || bmp.nKeyMode == 1;
    return bmp.pData != nullptr && hasBackground && passesKey;
}

/// Draws at most Pixels::RUN pixels of one row as the record says. `background` may be `to`.
void DrawRun(std::uint32_t* to, const std::uint32_t* pixels, const std::uint32_t* background, std::size_t count,
             const tBMP& bmp)
{
    const bool isBlended = bmp.nAlpha < 256;
    const int weight = std::max(bmp.nAlpha, 0);
    if (bmp.nKeyMode == 1) {
        std::array<std::uint32_t, Pixels::RUN> mixed;
        if (isBlended) {
            Pixels::Mix(mixed.data(), pixels, background, count, weight);
        }
        Pixels::CopyExcept(to, isBlended ? mixed.data() : pixels, pixels, count, bmp.nKeyColor);
    } else if (isBlended) {
        Pixels::Mix(to, pixels, background, count, weight);
    } else {
        std::copy_n(pixels, count, to);
    }
}

/// Draws a row pixel by pixel; `place` is its index on the screen.
void DrawRow(std::uint32_t* screen, std::size_t place, const std::uint32_t* pixels, std::size_t count, const tBMP& bmp)
{
    std::array<std::uint32_t, Pixels::RUN> colour;
    if (bmp.nBgMode == 1) {
        std::fill_n(colour.begin(), std::min(Pixels::RUN, count), bmp.nBgColor);
    }
    for (std::size_t done = 0; done < count; done += Pixels::RUN) {
        const std::size_t index = place + done;
        const std::uint32_t* const background = bmp.nBgMode == 0   ? screen + index
                                                : bmp.nBgMode == 1 ? colour.data()
                                                                   : bmp.pBgData + index;
        DrawRun(screen + index, pixels + done, background, std::min(Pixels::RUN, count - done), bmp);
    }
}

}  // namespace

CFBLib::CFBLib() : m_logger("")
{
    m_logger.SetIdentity("CFBLib");
    m_logger.WriteDebug("[%s] Logger Start.", "CFBLib");
}

CFBLib::~CFBLib()
{
    Unmap();
    if (m_nFBHandle > 0) {
        Close();
    }
}

int CFBLib::Open()
{
    if (m_nFBHandle > 0) {
        return 0;
    }
    m_nFBHandle = open(FB_DEV, O_RDWR);
    if (m_nFBHandle >= 0) {
        return 0;
    }
    m_logger.WriteError("[FB] /dev/fb0 open error");
    return -1;
}

void CFBLib::Close()
{
    if (m_nFBHandle != -1) {
        close(m_nFBHandle);
        m_nFBHandle = -1;
    }
}

int CFBLib::IsOpen()
{
    return m_nFBHandle > 0 ? 0 : -1;
}

int CFBLib::SetInfo(int nBpp, int nX, int nY, int nWidth, int nHeight)
{
    m_nOsdX = nX;
    m_nOsdY = nY;
    m_nOsdWidth = nWidth;
    m_nOsdHeight = nHeight;
    OsdInfo info = {0, nBpp, nWidth, nHeight, nX, nY};
    if (ioctl(m_nFBHandle, SET_OSD_INFO, &info) < 0) {
        m_logger.WriteError("[%s] SET_OSD_INFO error", "SetInfo");
        return -1;
    }
    return 0;
}

int CFBLib::InitializeScreenBuffer()
{
    if (m_nFBHandle == -1) {
        m_logger.WriteError("[%s] FB_HANDLE error", "InitializeScreenBuffer");
        return -1;
    }
    Unmap();
    fb_var_screeninfo screen = {};
    if (ioctl(m_nFBHandle, FBIOGET_VSCREENINFO, &screen) < 0) {
        m_logger.WriteError("[%s] FBIOGET_VSCREENINFO error", "InitializeScreenBuffer");
        return -1;
    }
    constexpr std::uint64_t MAX_PIXELS =
        std::min<std::uint64_t>(std::numeric_limits<std::int32_t>::max(), SIZE_MAX / sizeof(std::uint32_t));
    const std::uint64_t pixels = std::uint64_t{screen.xres} * screen.yres;
    if (pixels == 0 || pixels > MAX_PIXELS) {
        m_logger.WriteError("[%s] Screen Size error", "InitializeScreenBuffer");
        return -1;
    }
    const auto count = static_cast<std::int32_t>(pixels);
    void* const memory = mmap(nullptr, BytesOf(count), PROT_READ | PROT_WRITE, MAP_SHARED, m_nFBHandle, 0);
    if (memory == MAP_FAILED) {
        m_logger.WriteError("[%s] mmap error", "InitializeScreenBuffer");
        return -1;
    }
    m_nWidth = static_cast<std::int32_t>(screen.xres);
    m_nHeight = static_cast<std::int32_t>(screen.yres);
    m_nPixelCount = count;
    m_pScreenBuffer = static_cast<std::uint32_t*>(memory);
    return 0;
}

void CFBLib::Unmap()
{
    if (m_pScreenBuffer != nullptr) {
        munmap(m_pScreenBuffer, BytesOf(m_nPixelCount));
    }
    m_pScreenBuffer = nullptr;
    m_nWidth = 0;
    m_nHeight = 0;
    m_nPixelCount = 0;
}

void CFBLib::ScreenClear(int nColor)
{
    if (m_pScreenBuffer != nullptr) {
        std::memset(m_pScreenBuffer, nColor == 0 ? 0x00 : 0xFF, BytesOf(m_nPixelCount));
    }
}

void CFBLib::DrawPixel(int x, int y, unsigned long ulColor)
{
    if (x < 0 || y < 0 || x >= std::min(m_nOsdWidth, m_nWidth) || y >= std::min(m_nOsdHeight, m_nHeight)) {
        return;
    }
    m_pScreenBuffer[std::ptrdiff_t{y} * m_nWidth + x] = static_cast<std::uint32_t>(ulColor);
}

void CFBLib::setAlpha(int nAlpha)
{
    Pixels::Dim(m_pScreenBuffer, static_cast<std::size_t>(m_nPixelCount), std::clamp(nAlpha, 0, 256));
}

int CFBLib::SetDisplayBrightness(int nLevel)
{
    if (m_nFBHandle == -1) {
        return -1;
    }
    std::int32_t level = nLevel;
    return ioctl(m_nFBHandle, SET_BRIGHTNESS, &level);
}

int CFBLib::CreateBitmap(tBMP* pBmp, char const* pszPath)
{
    constexpr auto OPERATION = "CreateBitmap";
    m_logger.WriteDebug("[%s] START", OPERATION);
    const Common::UniqueFd file(open(pszPath, O_RDONLY));
    if (!file.IsValid()) {
        m_logger.WriteError("[%s] BMP File Open Error", OPERATION);
        return -1;
    }
    const auto failed = [&](int step, const char* call) {
        m_logger.WriteError("[%s] LINE(%d) - %s returned %d", OPERATION, step, call, errno);
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
    pBmp->nWidth = static_cast<std::int32_t>(Pixels::Load32(&infoHeader[BI_WIDTH]));
    pBmp->nHeight = static_cast<std::int32_t>(Pixels::Load32(&infoHeader[BI_HEIGHT]));
    pBmp->nKeyMode = 0;
    pBmp->nKeyColor = 0;
    pBmp->nBgMode = 0;
    if ((Pixels::Load32(&infoHeader[BI_BIT_COUNT]) & 0xFFFF) != 24) {
        m_logger.WriteError("[%s] no 24bit bmp", OPERATION);
        return -1;
    }
    if (!AllocatePixels(*pBmp)) {
        m_logger.WriteError("[%s] Bitmap Memory error", OPERATION);
        return -1;
    }
    if (lseek(file.Get(), static_cast<off_t>(Pixels::Load32(&fileHeader[BF_OFF_BITS])), SEEK_SET) < 0) {
        return failed(280, "lseek");
    }
    return ReadPixels(file.Get(), *pBmp) ? 0 : failed(292, "read");
}

void CFBLib::DrawBmp(int x, int y, tBMP bmp)
{
    m_logger.WriteDebug("[%s] START", "DrawBmp");
    const Visible columns = Clip(x, bmp.nWidth, std::min(m_nOsdWidth, m_nWidth));
    m_logger.WriteDebug("[%s] %d %d\n", "DrawBmp", bmp.nWidth, bmp.nHeight);
    const Visible rows = Clip(y, bmp.nHeight, std::min(m_nOsdHeight, m_nHeight));
    auto count = static_cast<std::size_t>(columns.count);
    std::int32_t drawn = CanBeDrawn(bmp) && count > 0 ? rows.count : 0;
    if (drawn > 0 && columns.count == bmp.nWidth && columns.count == m_nWidth) {  // no gaps: all rows are one
        count *= static_cast<std::size_t>(drawn);
        drawn = 1;
    }
    for (std::int32_t row = 0; row < drawn; ++row) {
        const std::uint32_t* const pixels = bmp.pData + std::ptrdiff_t{rows.skip + row} * bmp.nWidth + columns.skip;
        const std::size_t place = static_cast<std::size_t>(rows.first + row) * static_cast<std::size_t>(m_nWidth) +
                                  static_cast<std::size_t>(columns.first);
        if (IsCopied(bmp)) {
            std::copy_n(pixels, count, m_pScreenBuffer + place);
        } else {
            DrawRow(m_pScreenBuffer, place, pixels, count, bmp);
        }
    }
    m_logger.WriteDebug("[%s] Success", "DrawBmp");
}

}  // namespace IOCTL
