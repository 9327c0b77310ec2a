// Which share of the units passes each check.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "apps/station/records/Yield.h"

namespace Station {

/// Of each check of the plans that are named first, from the runs with each of them. A unit counts where its first or
/// last run with the plan carried the check out.
std::vector<YieldGroup> YieldOfChecks(soci::session& sql,
                                      const std::map<std::pair<std::string, std::string>, Tally>& plans);

}  // namespace Station
