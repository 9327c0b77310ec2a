// The check of the touch panel.
#include "ioctl/CTouchTest.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include <tslib.h>
#include <unistd.h>

#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/TouchSample.h"

namespace IOCTL {

namespace {

constexpr const char* DEFAULT_DEVICE = "/dev/touchscreen/ucb1x00";
constexpr auto OPERATION = "StartTest";  // in log lines
constexpr int BITS_PER_PIXEL = 32;
constexpr useconds_t PAUSE = 100000;  // microseconds between a touch and the next target

struct CloseDevice {
    void operator()(tsdev* device) const { ts_close(device); }
};
using TouchDevice = std::unique_ptr<tsdev, CloseDevice>;

const char* DevicePath()
{
    const char* const path = std::getenv("TSLIB_TSDEVICE");
    return path != nullptr ? path : DEFAULT_DEVICE;
}

/// Clamps a coordinate to the range of int: a target far off-screen must not wrap onto the screen.
int Coordinate(long long value)
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

/// Positions in the order of the touches.
using Places = std::array<tTOUCHXY, CTouchTest::RESULT_SIZE / 4>;

/// Top left corners of the images.
Places Targets(long long width, long long height, long long bmpWidth, long long bmpHeight, int margin)
{
    const int right = Coordinate(width - margin - bmpWidth);
    const int bottom = Coordinate(height - margin - bmpHeight);
    const tTOUCHXY centre = {Coordinate((width - bmpWidth) / 2), Coordinate((height - bmpHeight) / 2)};
    return {{{margin, margin}, {right, margin}, {right, bottom}, {margin, bottom}, centre}};
}

}  // namespace

CTouchTest::CTouchTest() : m_logger(ClassLogger("CTouchTest")) {}

CTouchTest::~CTouchTest()
{
    for (const tBMP& bmp : {m_bmp1, m_bmp2}) {
        std::free(bmp.pData);
        std::free(bmp.pBgData);
    }
}

int CTouchTest::StartTest(int nScreenWidth, int nScreenHeight, char const* pszTargetBmp, char const* pszDoneBmp,
                          int nBmpWidth, int nBmpHeight, int nMargin)
{
    const auto failed = [&](const char* error) {
        m_logger.WriteError("[%s] %s", OPERATION, error);
        return -1;
    };
    CFBLib display;
    m_logger.WriteDebug("[%s] START", OPERATION);
    if (pszTargetBmp == nullptr || pszDoneBmp == nullptr) {
        return failed("Image path is NULL");
    }
    if (display.Open() < 0) {
        return failed("Failed to Open fb device");
    }
    if (display.SetInfo(BITS_PER_PIXEL, 0, 0, nScreenWidth, nScreenHeight) < 0) {
        return failed("Failed to set screen information");
    }
    if (display.InitializeScreenBuffer() < 0) {
        return failed("Failed to Initialize Screen Buffer");
    }
    m_logger.WriteDebug("[%s] Load bmp1", OPERATION);
    if (Reload(display, m_bmp1, pszTargetBmp) < 0) {
        return failed("Failed to Create Bitmap 1");
    }
    m_logger.WriteDebug("[%s] Load bmp2", OPERATION);
    if (Reload(display, m_bmp2, pszDoneBmp) < 0) {
        return failed("Failed to Create Bitmap 2");
    }
    display.ScreenClear(0);
    const TouchDevice device(ts_open(DevicePath(), 0));
    if (device == nullptr) {
        return failed("ts_open error");
    }
    if (ts_config(device.get()) != 0) {
        return failed("ts_config error");
    }
    const Places targets = Targets(nScreenWidth, nScreenHeight, nBmpWidth, nBmpHeight, nMargin);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (RecordTouch(display, device.get(), i, targets[i]) < 0) {
            return -1;
        }
        if (i + 1 < targets.size()) {
            usleep(PAUSE);
        }
    }
    m_logger.WriteDebug("[%s] END", OPERATION);
    return 0;
}

/// Loads an image in place of the one that an earlier run left.
int CTouchTest::Reload(CFBLib& display, tBMP& bmp, char const* path)
{
    std::free(bmp.pData);
    bmp.pData = nullptr;
    return display.CreateBitmap(&bmp, path);
}

int CTouchTest::RecordTouch(CFBLib& display, tsdev* device, std::size_t index, const tTOUCHXY& target)
{
    const int number = static_cast<int>(index) + 1;
    if (index + 1 < m_tTouchXY.size()) {
        m_logger.WriteDebug("[%s] Touch %d", OPERATION, number);
    } else {
        m_logger.WriteDebug("[%s] Touch %d %d %d", OPERATION, number, target.nX, target.nY);
    }
    display.DrawBmp(target.nX, target.nY, m_bmp1);
    tTOUCHXY point = {};
    if (Wait_TS(device, &point) == -1) {
        return -1;
    }
    m_logger.WriteDebug("x=%d y=%d\n", point.nX, point.nY);
    std::printf("[%s] Touch%d: x=%d y=%d\n", OPERATION, number, point.nX, point.nY);
    m_tTouchXY[index] = point;
    display.DrawBmp(target.nX, target.nY, m_bmp2);
    return 0;
}

int CTouchTest::Wait_TS(tsdev* pTs, tTOUCHXY* pXY)
{
    m_logger.WriteDebug("[%s] START", "Wait_TS");
    TouchSample sample = {};
    do {
        if (!ReadTouchSample(pTs, sample)) {
            m_logger.WriteError("[%s] ts_read error", "Wait_TS");
            return -1;
        }
        m_logger.WriteDebug("%ld.%06ld: %6d %6d %6d\n", sample.seconds, sample.microseconds, sample.x, sample.y,
                            static_cast<int>(sample.pressure));
        *pXY = {sample.x, sample.y};
    } while (sample.pressure != 0);
    m_logger.WriteDebug("[%s] END", "Wait_TS");
    return 0;
}

void CTouchTest::GetTouchXY(unsigned char* pOut)
{
    for (const tTOUCHXY& point : m_tTouchXY) {
        for (const std::int32_t value : {point.nX, point.nY}) {
            *pOut++ = static_cast<unsigned char>(value >> 8);
            *pOut++ = static_cast<unsigned char>(value);
        }
    }
}

}  // namespace IOCTL
