// A run in the tables of a database: written as it happens, and read again.
#pragma once

#include <cstddef>

#include "apps/station/records/Database.h"

namespace Station {

/// Why a run that was interrupted did not come to its end.
constexpr const char* INTERRUPTION = "the station was ended in the middle of it";

/// Adds a run that begins; returns its number in this database. Its ordinal puts it behind all earlier runs, also when
/// the clock was set back; a copy has that of the original.
Integer InsertRun(soci::session& sql, const RunRecord& run, std::optional<Integer> ordinal = std::nullopt);
/// Adds a check that has been judged. Position 0 is the question whether a board answers, 1 the first check.
void InsertCheck(soci::session& sql, Integer number, std::size_t position, const RunRecord& run,
                 const CheckRecord& check);
/// Sets the verdict of a run that has none, and adds what was found before its first check.
/// @throws RecordError when the run has a verdict already
void CloseRun(soci::session& sql, Integer number, const RunRecord& run);
/// The run with all of its checks, values and traffic. One without a verdict is in progress.
RunRecord LoadRun(soci::session& sql, Integer number);

/// Of columns: milliseconds since 1970, UTC.
Integer ToColumn(std::chrono::system_clock::time_point time);
std::chrono::system_clock::time_point ToTime(Integer milliseconds);

}  // namespace Station
