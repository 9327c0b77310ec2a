// Earlier runs, a line each, and one of them in full.
#pragma once

#include <string>

#include "apps/station/records/History.h"
#include "apps/station/report/Table.h"

namespace Station {

/// For a person: local time, and as much of the UUID as `show` needs.
std::string HistoryText(const std::vector<RunSummary>& runs);

/// For programs: every field, times in UTC.
NamedTables HistoryTables(const std::vector<RunSummary>& runs);

/// A run as it was shown when it took place, with its values and limits; with its frames, if they are wanted.
std::string RunText(const RunRecord& run, bool showsFrames);

/// The checks of a run and their values: a row for each value, and for each check without any.
NamedTables RunTables(const RunRecord& run);

}  // namespace Station
