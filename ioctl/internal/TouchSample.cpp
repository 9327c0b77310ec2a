// Reading the touch panel.
#include "ioctl/internal/TouchSample.h"

#include <tslib.h>

namespace IOCTL {

bool ReadTouchSample(tsdev* device, TouchSample& sample)
{
    ts_sample record = {};
    int count = 0;
    while (count == 0) {
        count = ts_read(device, &record, 1);
    }
    sample = {record.x, record.y, record.pressure, static_cast<long>(record.tv.tv_sec),
              static_cast<long>(record.tv.tv_usec)};
    return count > 0;
}

}  // namespace IOCTL
