// The check of the real-time clock.
#pragma once

#include <ctime>

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Reads and sets the real-time clock "/dev/rtc0", which keeps local time, and sets the system clock with it.
///
/// The two operations count months differently: a month that `GetSysTime` gave is one less than the one that
/// `SetSysTime` takes. Calls of `GetSysTime` must not overlap, on one object or on several.
class TESTMODE_API CSysTime {
public:
    CSysTime();
    virtual ~CSysTime();

    /// Reads the clock into tm_sec, tm_min, tm_hour, tm_mday, tm_mon (0 to 11), tm_year (since 2000, not 1900) and
    /// tm_wday (0 is Sunday, computed from the date) of `time`; other fields are left alone. 0, or -1 when the device
    /// cannot be opened or read or its date cannot be converted (logged; `time` is unchanged).
    int GetSysTime(tm* time);

    /// Sets the system clock and then the real-time clock: `year` since 2000, `month` 1 to 12, `day` 1 to 31, `hour`,
    /// `minute`, `second`, local time. A date outside these ranges is normalised for the system clock, and passed to
    /// the real-time clock unchanged. 0 when the real-time clock took the date, whether or not the system clock could
    /// be set (which needs CAP_SYS_TIME). -1 when the date cannot be converted (nothing is changed), or when the device
    /// cannot be opened or refuses the date (the system clock is set all the same). Logs nothing.
    int SetSysTime(int year, int month, int day, int hour, int minute, int second);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
