// The clocks of the simulated board: "/dev/rtc0", which keeps what it is set to and runs on, and the system clock.
#include <cerrno>
#include <chrono>
#include <ctime>
#include <mutex>

#include "sim/Devices.h"

namespace Sim {

namespace {

using Clock = std::chrono::steady_clock;

/// The clock counts seconds of its own calendar, without time zones.
struct State {
    time_t setTo = 0;
    Clock::time_point setAt;
    std::vector<rtc_time> records;
    std::optional<std::chrono::microseconds> systemClock;
};

std::mutex g_mutex;

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

rtc_time ToRecord(time_t seconds)
{
    tm parts = {};
    gmtime_r(&seconds, &parts);
    return {parts.tm_sec,  parts.tm_min,  parts.tm_hour,
            parts.tm_mday, parts.tm_mon,  parts.tm_year,
            parts.tm_wday, parts.tm_yday, 0};
}

/// The seconds of a record, or nothing when it is no date, by the kernel's rules.
std::optional<time_t> ToSeconds(const rtc_time& record)
{
    tm parts = {};
    parts.tm_sec = record.tm_sec;
    parts.tm_min = record.tm_min;
    parts.tm_hour = record.tm_hour;
    parts.tm_mday = record.tm_mday;
    parts.tm_mon = record.tm_mon;
    parts.tm_year = record.tm_year;
    const time_t seconds = timegm(&parts);  // normalises what is no date
    const bool isDate = record.tm_year >= 70 && parts.tm_sec == record.tm_sec && parts.tm_min == record.tm_min &&
                        parts.tm_hour == record.tm_hour && parts.tm_mday == record.tm_mday &&
                        parts.tm_mon == record.tm_mon && parts.tm_year == record.tm_year;
    return isDate ? std::optional(seconds) : std::nullopt;
}

int Read(rtc_time& record)
{
    const auto running = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - TheState().setAt);
    record = ToRecord(TheState().setTo + (HasFault("rtc-stopped") ? 0 : running.count()));
    if (HasFault("rtc-garbled")) {
        record.tm_mon += 4;
        record.tm_mday = 0;
    }
    return 0;
}

int Set(const rtc_time& record)
{
    TheState().records.push_back(record);
    const std::optional<time_t> seconds = ToSeconds(record);
    if (!seconds) {
        return -EINVAL;
    }
    if (!HasFault("rtc-forgets")) {
        TheState().setTo = *seconds;
        TheState().setAt = Clock::now();
    }
    return 0;
}

class Rtc : public Device {
public:
    int Open(int flags) override { return HasFault("rtc-missing") ? -ENOENT : OpenBehind("/dev/null", flags); }
    int Request(unsigned long request, void* argument) override
    {
        const std::lock_guard lock(g_mutex);
        auto* const record = static_cast<rtc_time*>(argument);
        if (HasFault("rtc-refuses")) {
            return -EIO;
        }
        return request == RTC_RD_TIME ? Read(*record) : request == RTC_SET_TIME ? Set(*record) : -ENOTTY;
    }
};

}  // namespace

Device& RealTimeClock()
{
    static Rtc rtc;
    return rtc;
}

/// A board's clock starts somewhere: here at the beginning of 2000.
void ResetRealTimeClock()
{
    constexpr time_t YEAR_2000 = 946684800;
    const std::lock_guard lock(g_mutex);
    TheState() = {YEAR_2000, Clock::now(), {}, {}};
}

int SetSystemClock(std::chrono::microseconds time)
{
    if (HasFault("clock-refused")) {
        return Fail(EPERM);
    }
    const std::lock_guard lock(g_mutex);
    TheState().systemClock = time;
    return 0;
}

std::vector<rtc_time> RtcRecords()
{
    const std::lock_guard lock(g_mutex);
    return TheState().records;
}

std::optional<std::chrono::microseconds> SystemClock()
{
    const std::lock_guard lock(g_mutex);
    return TheState().systemClock;
}

}  // namespace Sim
