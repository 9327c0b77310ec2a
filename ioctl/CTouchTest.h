// The check of the touch panel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/CFileLogger.h"
#include "common/Export.h"
#include "ioctl/CFBLib.h"

struct tsdev;  // of tslib

namespace IOCTL {

/// A touch position as tslib reports it.
struct tTOUCHXY {
    std::int32_t nX;  ///< pixels from the left
    std::int32_t nY;  ///< pixels from the top
};

/// Shows five targets one after the other and records where each was touched.
///
/// The touch panel is read through tslib: its device is named by the environment variable "TSLIB_TSDEVICE", or is
/// "/dev/touchscreen/ucb1x00"; its filters are those of tslib's configuration. One object is used by one thread at a
/// time. It owns the images, which stay loaded from one run to the next.
class TESTMODE_API CTouchTest {
public:
    /// Bytes that `GetTouchXY` writes: two values of two bytes for each of five touches.
    static constexpr int RESULT_SIZE = 20;

    CTouchTest();
    virtual ~CTouchTest();
    CTouchTest(const CTouchTest&) = delete;
    CTouchTest& operator=(const CTouchTest&) = delete;

    /// Runs the test on "/dev/fb0" and waits without limit for each touch. Sets the display area to `nScreenWidth` *
    /// `nScreenHeight` pixels and clears the whole screen. Then shows the target image (`pszTargetBmp`, a 24-bit BMP
    /// file) at the top left, top right, bottom right and bottom left of the area, `nMargin` pixels from its edges, and
    /// in its centre, one after the other. When a target has been touched and the finger lifted, covers it with the
    /// second image (`pszDoneBmp`). `nBmpWidth` and `nBmpHeight` place the targets; they are not compared with the size
    /// of the images. Prints each point on standard output.
    ///
    /// 0, or -1 (logged): a path is null, the display or the touch panel cannot be used, or an image cannot be loaded.
    /// The points recorded until then are kept, the others are those of earlier runs. The picture stays on the display.
    int StartTest(int nScreenWidth, int nScreenHeight, char const* pszTargetBmp, char const* pszDoneBmp, int nBmpWidth,
                  int nBmpHeight, int nMargin);

    /// Waits without limit for a touch and its release on a configured tslib device, and stores the last position at
    /// `pXY`. 0, or -1 when the device cannot be read (logged).
    int Wait_TS(tsdev* pTs, tTOUCHXY* pXY);

    /// Writes the recorded points to `pOut` (20 bytes), in the order of the targets: the low 16 bits of x, then those
    /// of y, high byte first. A point that was never recorded is 0, 0.
    void GetTouchXY(unsigned char* pOut);

private:
    static constexpr int TOUCHES = RESULT_SIZE / 4;

    static int Reload(CFBLib& display, tBMP& bmp, char const* path);
    int RecordTouch(CFBLib& display, tsdev* device, std::size_t index, const tTOUCHXY& target);

    tBMP m_bmp1 = {};
    tBMP m_bmp2 = {};
    std::array<tTOUCHXY, TOUCHES> m_tTouchXY = {};
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
