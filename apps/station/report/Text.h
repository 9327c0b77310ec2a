// A run as lines for a person. Texts of others are shown without their control characters.
#pragma once

#include <string>

#include "apps/station/run/Record.h"

namespace Station {

/// "inputs                   PASS       0.03 s  A5 3C, as driven"
std::string ResultLine(const CheckRecord& check);

/// "PASS: 19 passed, 0 failed, 0 not carried out, 19 of 19 checks in 2.1 s"
std::string SummaryLine(const RunRecord& run);

/// "> 5A 01 FF ..." for what was sent, "< ..." for a received frame, "< ... (noise)" for other bytes.
std::string TrafficLine(const Traffic& entry);

/// Seconds, rounded to a microsecond.
double ToMicrosecond(Seconds duration);
/// Seconds with so many digits behind the point.
std::string Fixed(Seconds duration, int digits);

/// "2026-11-16 17:21:35", as clocks show it here.
std::string LocalTime(std::chrono::system_clock::time_point time);
/// "2026-11-16T16:21:35", UTC.
std::string UtcTime(std::chrono::system_clock::time_point time);
/// "2026-11-16T16:21:35.123Z"
std::string UtcTimestamp(std::chrono::system_clock::time_point time);

}  // namespace Station
