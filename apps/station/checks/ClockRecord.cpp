// A clock record on the wire, as a calendar time without a time zone.
#include "apps/station/checks/ClockRecord.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "apps/Protocol.h"

namespace Station {

using namespace Protocol;

std::time_t LocalTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return timegm(&local);
}

Bytes ToClockRecord(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    Bytes record(CLOCK_LEN);
    record[CLOCK_YEAR] = static_cast<unsigned char>(parts.tm_year - 100);
    record[CLOCK_MONTH] = static_cast<unsigned char>(parts.tm_mon + 1);
    record[CLOCK_DAY] = static_cast<unsigned char>(parts.tm_mday);
    record[CLOCK_HOUR] = static_cast<unsigned char>(parts.tm_hour);
    record[CLOCK_MINUTE] = static_cast<unsigned char>(parts.tm_min);
    record[CLOCK_SECOND] = static_cast<unsigned char>(parts.tm_sec);
    record[CLOCK_WEEKDAY] = static_cast<unsigned char>(parts.tm_wday);
    return record;
}

std::optional<std::time_t> FromClockRecord(const Bytes& record)
{
    std::tm parts{};
    parts.tm_year = record[CLOCK_YEAR] + 100;
    parts.tm_mon = record[CLOCK_MONTH] - 1;
    parts.tm_mday = record[CLOCK_DAY];
    parts.tm_hour = record[CLOCK_HOUR];
    parts.tm_min = record[CLOCK_MINUTE];
    parts.tm_sec = record[CLOCK_SECOND];
    const std::time_t time = timegm(&parts);  // normalises what is none
    const Bytes same = ToClockRecord(time);
    return std::equal(same.begin(), same.end(), record.begin()) ? std::optional(time) : std::nullopt;
}

std::string ClockText(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%F %T");
    return text.str();
}

}  // namespace Station
