// The clocks of the simulated board: "/dev/rtc0", which keeps what it is set to and runs on, and the system clock.
#include <cerrno>
#include <chrono>
#include <ctime>
#include <mutex>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"

namespace Sim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr time_t YEAR_2000 = 946684800;

/// The real-time clock counts seconds of its own calendar, without time zones. It starts at the beginning of 2000.
struct State {
    time_t setTo = YEAR_2000;
    Clock::time_point setAt = Clock::now();
    std::vector<rtc_time> records;
    std::optional<std::chrono::microseconds> systemClock;
};

rtc_time ToRecord(time_t seconds)
{
    tm parts = {};
    gmtime_r(&seconds, &parts);
    return {parts.tm_sec,  parts.tm_min,  parts.tm_hour,
            parts.tm_mday, parts.tm_mon,  parts.tm_year,
            parts.tm_wday, parts.tm_yday, 0};
}

/// The seconds of a record; std::nullopt when it is no date by the kernel's rules.
std::optional<time_t> ToSeconds(const rtc_time& record)
{
    tm parts = {};
    parts.tm_sec = record.tm_sec;
    parts.tm_min = record.tm_min;
    parts.tm_hour = record.tm_hour;
    parts.tm_mday = record.tm_mday;
    parts.tm_mon = record.tm_mon;
    parts.tm_year = record.tm_year;
    const time_t seconds = timegm(&parts);  // normalises a record that is no date
    const bool isDate = record.tm_year >= 70 && parts.tm_sec == record.tm_sec && parts.tm_min == record.tm_min &&
                        parts.tm_hour == record.tm_hour && parts.tm_mday == record.tm_mday &&
                        parts.tm_mon == record.tm_mon && parts.tm_year == record.tm_year;
    return isDate ? std::optional(seconds) : std::nullopt;
}

/// The real-time clock's device, and the system clock.
class ClockDevice : public Node {
public:
    ClockDevice() : Node("/dev/rtc0", "rtc-missing", "the real-time clock's device does not exist") {}

    std::optional<int> Request(unsigned long request, void* argument) override;
    void Reset() override;

    int SetSystemClock(std::chrono::microseconds time);
    State Look();

private:
    // With the mutex held:
    int Read(rtc_time& record) const;
    int Set(const rtc_time& record);

    DeviceFault m_refuses{*this, "rtc-refuses", "the real-time clock refuses every request"};
    DeviceFault m_forgets{*this, "rtc-forgets", "the real-time clock does not keep what it is set to"};
    DeviceFault m_stopped{*this, "rtc-stopped", "the real-time clock keeps what it is set to, but stands still"};
    DeviceFault m_garbled{*this, "rtc-garbled", "the real-time clock reads as a date that is none"};
    DeviceFault m_clockRefused{*this, "clock-refused", "the system clock cannot be set: no check can tell"};

    std::mutex m_mutex;
    State m_state;
};

std::optional<int> ClockDevice::Request(unsigned long request, void* argument)
{
    const std::lock_guard lock(m_mutex);
    auto* const record = static_cast<rtc_time*>(argument);
    if (m_refuses) {
        return -EIO;
    }
    switch (request) {
    case RTC_RD_TIME:
        return Read(*record);
    case RTC_SET_TIME:
        return Set(*record);
    default:
        return -ENOTTY;
    }
}

int ClockDevice::Read(rtc_time& record) const
{
    const auto running = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - m_state.setAt);
    record = ToRecord(m_state.setTo + (m_stopped ? 0 : running.count()));
    if (m_garbled) {
        record.tm_mon += 4;
        record.tm_mday = 0;
    }
    return 0;
}

int ClockDevice::Set(const rtc_time& record)
{
    m_state.records.push_back(record);
    const std::optional<time_t> seconds = ToSeconds(record);
    if (!seconds) {
        return -EINVAL;
    }
    if (!m_forgets) {
        m_state.setTo = *seconds;
        m_state.setAt = Clock::now();
    }
    return 0;
}

void ClockDevice::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_state = {};
}

int ClockDevice::SetSystemClock(std::chrono::microseconds time)
{
    const std::lock_guard lock(m_mutex);
    if (m_clockRefused) {
        return Fail(EPERM);
    }
    m_state.systemClock = time;
    return 0;
}

State ClockDevice::Look()
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

ClockDevice& TheClocks()
{
    static ClockDevice& clocks = *new ClockDevice;  // never destroyed: calls arrive until the very end of the process
    return clocks;
}

}  // namespace

Device& Clocks()
{
    return TheClocks();
}

int SetClock(std::chrono::microseconds time)
{
    return TheClocks().SetSystemClock(time);
}

std::vector<rtc_time> RtcRecords()
{
    return TheClocks().Look().records;
}

std::optional<std::chrono::microseconds> SystemClock()
{
    return TheClocks().Look().systemClock;
}

}  // namespace Sim
