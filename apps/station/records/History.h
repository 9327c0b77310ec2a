// What the records say of earlier runs.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/records/Database.h"

namespace Station {

/// A run in one line.
struct RunSummary {
    Integer number = 0;  ///< in this database
    std::string id;
    std::chrono::system_clock::time_point start;
    std::string unit;
    Verdict verdict = Verdict::InProgress;
    std::string plan;
    std::string planVersion;
    Integer planned = 0;  ///< checks of the plan
    Integer passed = 0;   ///< checks
    Integer failed = 0;
    std::string port;
    std::string host;
    std::string people;
    std::string reason;  ///< why it is no PASS
};

/// Which runs are asked for.
struct HistoryFilter {
    std::optional<std::string> unit;
    std::optional<std::chrono::system_clock::time_point> since;
    bool isFailed = false;  ///< with the verdict FAIL alone
    Integer most = 50;      ///< of them
};

struct History {
    std::vector<RunSummary> runs;  ///< the newest first, in the order in which they took place
    Integer leftOut = 0;           ///< older ones
};

/// @throws RecordError
History ReadHistory(Database& database, const HistoryFilter& filter);

/// The runs whose UUID begins like this, at most ten.
/// @throws RecordError
std::vector<RunSummary> FindRuns(Database& database, const std::string& beginning);

/// That run with all of its checks, values and traffic.
/// @throws RecordError
RunRecord ReadRun(Database& database, const RunSummary& summary);

/// Of a run that was read without a verdict: true when it was interrupted and no station has noted that yet. Of a
/// server's run that cannot be told.
/// @throws RecordError
bool IsInterrupted(Database& database, Integer number);

}  // namespace Station
