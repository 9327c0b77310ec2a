// Reading the touch panel. On 32-bit systems the time stamp in tslib's record has the size that tslib was built with,
// mostly 32 bits. Everything else here uses 64-bit time. Only this header's source depends on tslib's size.
#pragma once

struct tsdev;

namespace IOCTL {

/// One sample of the touch panel.
struct TouchSample {
    int x;
    int y;
    unsigned int pressure;  ///< 0 when the finger is lifted
    long seconds;
    long microseconds;
};

/// Waits for one sample and reads it. False when the panel cannot be read.
bool ReadTouchSample(tsdev* device, TouchSample& sample);

}  // namespace IOCTL
