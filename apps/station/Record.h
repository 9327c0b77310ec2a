// The record of a run: what the reports are made of.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "apps/station/Link.h"

namespace Station {

enum class Result {
    Pass,
    Fail,
    Skip,     ///< the board does not support the check
    Aborted,  ///< the run ended before the check did
};

using Numbers = std::vector<int>;
/// A named value of a check: the parameters of its request, and what was measured.
using Values = std::vector<std::pair<std::string, std::variant<bool, int, Numbers, std::string>>>;

struct CheckRecord {
    std::optional<unsigned char> code;  ///< command code; none for a bad frame
    std::string name;                   ///< unique in its plan
    Result result = Result::Aborted;
    std::string message;  ///< what came back, in words
    Values values;
    std::optional<int> status;  ///< data byte 0 of the reply
    Seconds duration{0};        ///< over all attempts
    int attempts = 0;           ///< times the command was sent; one more than its repetitions
    std::vector<Traffic> traffic;
};

struct RunRecord {
    std::string unit;  ///< serial number of the unit under test; may be empty
    std::string port;
    LineSettings line;
    unsigned char boardType = 0;
    std::chrono::system_clock::time_point start;
    std::chrono::system_clock::time_point end;
    std::size_t planned = 0;  ///< checks of the plan
    std::vector<CheckRecord> checks;
    std::string abortReason;  ///< empty when the run is complete
};

/// How many checks ended like this.
long Count(const RunRecord& run, Result result);

/// Aborted if the run is not complete, else Fail if a check failed, else Pass.
Result Overall(const RunRecord& run);

}  // namespace Station
