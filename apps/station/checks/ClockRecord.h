// A clock record on the wire, as a calendar time without a time zone.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "apps/station/Types.h"

namespace Station {

/// Seconds that a plan may let a clock deviate.
inline constexpr double MOST_DEVIATION = 3600;

/// The station's local time.
std::time_t LocalTime();

/// The record's bytes, the weekday included. Years from 2000 to 2255.
Bytes ToClockRecord(std::time_t time);

/// Nothing when the bytes, at least CLOCK_LEN, are no date and time with its weekday.
std::optional<std::time_t> FromClockRecord(const Bytes& record);

/// "2026-11-16 16:21:35"
std::string ClockText(std::time_t time);

}  // namespace Station
