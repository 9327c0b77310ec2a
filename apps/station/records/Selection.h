// Which runs the figures are about.
#pragma once

#include <limits>
#include <string>

#include "apps/station/records/Database.h"

namespace Station {

struct Selection {
    Integer since = 0;                                    ///< they started then or later, as in the table
    Integer until = std::numeric_limits<Integer>::max();  ///< and before
    std::string plan;                                     ///< its name; empty for any
    std::string station;                                  ///< the name of the PC; empty for any
    Integer first = std::numeric_limits<Integer>::min();  ///< no number of theirs is less
    Integer last = std::numeric_limits<Integer>::max();   ///< or greater
    bool isWhole = false;                                 ///< all runs with numbers in between are selected

    /// Of a run r, for a query that uses :station. The plan is another table's.
    [[nodiscard]] std::string Condition() const
    {
        return "r.started >= " + std::to_string(since) + " and r.started < " + std::to_string(until) +
               " and (:station = '' or r.host = :station)";
    }
};

}  // namespace Station
