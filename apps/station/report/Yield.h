// Yield and statistics, for a person and for programs.
#pragma once

#include <string>

#include "apps/station/records/Yield.h"
#include "apps/station/report/Table.h"

namespace Station {

std::string YieldText(const Yield& yield, Grouping by);

/// For programs: every field.
Table ValueTable(const std::vector<ValueStatistics>& values);

/// Tables total, groups, failures, values and not_judged.
NamedTables YieldTables(const Yield& yield);

}  // namespace Station
