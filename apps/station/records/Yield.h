// How many units pass, and what they fail for. docs/records.md defines each figure.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/records/Statistics.h"
#include "apps/station/records/Tally.h"

namespace Station {

enum class Grouping { None, Plan, Day, Station, Check };
/// As a person writes them.
inline const std::map<std::string, Grouping>& Groupings()
{
    static const std::map<std::string, Grouping> GROUPINGS = {
        {"plan", Grouping::Plan}, {"day", Grouping::Day}, {"station", Grouping::Station}, {"check", Grouping::Check}};
    return GROUPINGS;
}

struct YieldFilter {
    std::optional<std::chrono::system_clock::time_point> since;  ///< runs that started then or later
    Grouping by = Grouping::None;
    std::optional<std::chrono::system_clock::time_point> until = {};  ///< before
    std::string plan = {};     ///< with this one, whatever its version; empty for any
    std::string station = {};  ///< on this PC; empty for any
};

struct YieldGroup {
    std::string plan;  ///< where runs are told apart by plan or check
    std::string name;  ///< version of the plan, day, station or check
    Integer runs = 0;  ///< with the verdict PASS or FAIL
    Share firstPass;
    Share final;
};

struct FailedCheck {
    std::string plan;
    std::string check;
    Integer runs = 0;
    Integer units = 0;
};

struct Yield {
    YieldGroup all;
    std::vector<YieldGroup> groups;
    std::vector<FailedCheck> failures;  ///< the one that failed in most runs first
    std::vector<ValueStatistics> values;
    std::map<Verdict, Integer> notJudged;  ///< runs of other verdicts than PASS and FAIL, which count nowhere else
};

/// A measured value, and how its values are spread.
struct Histogram {
    ValueStatistics value;
    std::vector<Bin> bins;
};

/// With a plan, a unit's first run is its first with that plan; with a station, or a period, its first of all has to be
/// there to count.
/// @throws RecordError
Yield ReadYield(Database& database, const YieldFilter& filter);

/// Of the value with that number, or nothing when the filter leaves none.
/// @throws RecordError
std::optional<Histogram> ReadHistogram(Database& database, const YieldFilter& filter, Integer value);

}  // namespace Station
