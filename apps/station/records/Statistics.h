// How close the measured values are to their limits.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/station/records/Database.h"

namespace Station {

/// Of a value with the same limits all along; where these were changed, each has its own.
struct ValueStatistics {
    std::string plan;
    std::string check;
    std::string name;
    std::string unit;
    Limits limits;
    Integer count = 0;
    double least = 0;
    double mean = 0;
    double most = 0;
    std::optional<double> deviation;  ///< standard deviation, of a sample (n - 1); of two values or more
    std::optional<double> cpk;        ///< with a limit, and a deviation above 0
};

/// The runs that started at a time or later.
struct Period {
    Integer since;       ///< as in the table
    Integer first;       ///< the least number of theirs
    Integer lastBefore;  ///< the greatest number of the other runs; where the clock was set back, greater than first
};

/// Of the runs in the period with the verdict PASS or FAIL. Numbers beyond 1e150 are left out, as are texts.
std::vector<ValueStatistics> ReadStatistics(soci::session& sql, const Period& period);

}  // namespace Station
