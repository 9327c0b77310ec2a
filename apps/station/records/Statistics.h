// How close the measured values are to their limits.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/station/records/Selection.h"

namespace Station {

/// Of a value with the same limits all along; where these were changed, each has its own.
struct ValueStatistics {
    Integer number = 0;  ///< in this database
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

/// How many of the values are within a range.
struct Bin {
    double from = 0;  ///< the least
    double to = 0;    ///< where the next one begins
    Integer count = 0;
};

/// Of the runs with the verdict PASS or FAIL; of the value with that number alone, if there is one. Numbers beyond
/// 1e150 are left out, as are texts.
std::vector<ValueStatistics> ReadStatistics(soci::session& sql, const Selection& selection,
                                            std::optional<Integer> only = std::nullopt);

/// The values behind these statistics: up to about 40 bins of the same width, which begin at round numbers. Those of no
/// value are there as well. One bin when all values are the same.
std::vector<Bin> ReadBins(soci::session& sql, const Selection& selection, const ValueStatistics& value);

}  // namespace Station
