// Reading the touch panel. On 32-bit systems tslib's record has a time stamp of tslib's own size, 32 bits on most,
// while all else is built with 64: this header and its source are all that knows of it.
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

/// Reads one sample, waiting for it. False when the panel cannot be read.
bool ReadTouchSample(tsdev* device, TouchSample& sample);

}  // namespace IOCTL
