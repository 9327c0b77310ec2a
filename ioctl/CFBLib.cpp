// The board's display: its framebuffer device and its screen in memory.
#include "ioctl/CFBLib.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "ioctl/internal/BitmapFile.h"
#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/Drawing.h"
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

std::size_t BytesOf(std::int32_t pixels)
{
    return static_cast<std::size_t>(pixels) * sizeof(std::uint32_t);
}

}  // namespace

CFBLib::CFBLib() : m_logger(ClassLogger("CFBLib")) {}

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
    return LoadBitmap(*pBmp, pszPath, m_logger);
}

void CFBLib::DrawBmp(int x, int y, tBMP bmp)
{
    m_logger.WriteDebug("[%s] START", "DrawBmp");
    m_logger.WriteDebug("[%s] %d %d\n", "DrawBmp", bmp.nWidth, bmp.nHeight);
    DrawBitmap({m_pScreenBuffer, m_nWidth, std::min(m_nOsdWidth, m_nWidth), std::min(m_nOsdHeight, m_nHeight)}, x, y,
               bmp);
    m_logger.WriteDebug("[%s] Success", "DrawBmp");
}

}  // namespace IOCTL
