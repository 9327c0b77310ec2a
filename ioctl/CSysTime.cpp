// The check of the real-time clock.
#include "ioctl/CSysTime.h"

#include <climits>

#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/time.h>

#include "common/internal/UniqueFd.h"
#include "ioctl/internal/ClassLogger.h"

namespace IOCTL {

namespace {

static_assert(RTC_RD_TIME == 0x80247009 && RTC_SET_TIME == 0x4024700a, "requests of linux/rtc.h");
static_assert(sizeof(time_t) == 8, "dates after January 2038");

constexpr const char* RTC_DEV = "/dev/rtc0";
constexpr int YEARS_TO_2000 = 100;  // tm_year counts from 1900

rtc_time s_stRtcTime = {};

/// The record as local time; mktime determines whether daylight saving is in force.
tm ToLocalTime(const rtc_time& record)
{
    tm local = {};
    local.tm_sec = record.tm_sec;
    local.tm_min = record.tm_min;
    local.tm_hour = record.tm_hour;
    local.tm_mday = record.tm_mday;
    local.tm_mon = record.tm_mon;
    local.tm_year = record.tm_year;
    local.tm_wday = record.tm_wday;
    local.tm_isdst = -1;
    return local;
}

}  // namespace

CSysTime::CSysTime() : m_logger(ClassLogger("CSysTime")) {}

CSysTime::~CSysTime() = default;

int CSysTime::GetSysTime(tm* time)
{
    Common::UniqueFd device(open(RTC_DEV, O_RDONLY));
    if (!device.IsValid()) {
        m_logger.WriteError("[RTC] RTC_DEV Open Error!\n");
        return -1;
    }
    if (ioctl(device.Get(), RTC_RD_TIME, &s_stRtcTime) == -1) {
        m_logger.WriteError("[RTC] RTC_RD_TIME Open Error!\n");
        return -1;
    }
    device.Close();

    tm local = ToLocalTime(s_stRtcTime);
    const time_t calendar = mktime(&local);
    if (calendar == -1 || localtime_r(&calendar, &local) == nullptr || local.tm_year < INT_MIN + YEARS_TO_2000) {
        m_logger.WriteError("[RTC] Date Convert Error!\n");
        return -1;
    }
    time->tm_sec = local.tm_sec;
    time->tm_min = local.tm_min;
    time->tm_hour = local.tm_hour;
    time->tm_mday = local.tm_mday;
    time->tm_mon = local.tm_mon;
    time->tm_year = local.tm_year - YEARS_TO_2000;
    time->tm_wday = local.tm_wday;
    m_logger.WriteDebug("[GetSysTime]  %d/%d/%d - %d:%d:%d\n\n", time->tm_year, time->tm_mon, time->tm_mday,
                        time->tm_hour, time->tm_min, time->tm_sec);
    return 0;
}

int CSysTime::SetSysTime(int year, int month, int day, int hour, int minute, int second)
{
    if (year > INT_MAX - YEARS_TO_2000 || month == INT_MIN) {
        return -1;  // does not fit the record
    }
    rtc_time record = {};
    record.tm_sec = second;
    record.tm_min = minute;
    record.tm_hour = hour;
    record.tm_mday = day;
    record.tm_mon = month - 1;
    record.tm_year = year + YEARS_TO_2000;

    tm local = ToLocalTime(record);
    const time_t calendar = mktime(&local);  // normalises `local`, not the record
    if (calendar == -1) {
        return -1;
    }
    timeval clock = {};
    clock.tv_sec = calendar;
    settimeofday(&clock, nullptr);

    const Common::UniqueFd device(open(RTC_DEV, O_WRONLY));
    if (!device.IsValid()) {
        return -1;
    }
    return ioctl(device.Get(), RTC_SET_TIME, &record) == -1 ? -1 : 0;
}

}  // namespace IOCTL
