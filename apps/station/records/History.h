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
    Integer failed = 0;   ///< whose result counts
    std::string port;
    std::string host;
    std::string people;
    std::string reason;  ///< why it is no PASS
};

/// Which runs are asked for.
struct HistoryFilter {
    std::optional<std::string> unit;
    std::optional<std::string> beginning;  ///< of the unit, in capital or small letters
    std::optional<std::chrono::system_clock::time_point> since;
    std::optional<std::chrono::system_clock::time_point> until;  ///< started before it
    std::optional<Verdict> verdict;
    std::optional<std::string> plan;    ///< its name
    std::optional<std::string> before;  ///< UUID of the run that they took place before
    std::optional<std::string> after;   ///< UUID of the run that they took place after: the first of these
    Integer most = 50;                  ///< of them
};

struct History {
    std::vector<RunSummary> runs;  ///< the newest first, in the order in which they took place
    Integer newer = 0;             ///< others that are not among them
    Integer older = 0;
};

/// @throws RecordError
/// @throws std::invalid_argument when there is no run with the UUID in `before` or `after`
History ReadHistory(Database& database, const HistoryFilter& filter);

/// The runs whose UUID begins like this, at most ten.
/// @throws RecordError
std::vector<RunSummary> FindRuns(Database& database, const std::string& beginning);

/// That run with all of its checks, values and traffic.
/// @throws RecordError
RunRecord ReadRun(Database& database, const RunSummary& summary);

/// What the runs can be sorted by.
struct Choices {
    std::vector<std::string> plans;     ///< names
    std::vector<std::string> stations;  ///< names of PCs
};

/// @throws RecordError
Choices ReadChoices(Database& database);

/// Of a run that was read without a verdict: true when it was interrupted and no station has noted that yet. Of a
/// server's run that cannot be told.
/// @throws RecordError
bool IsInterrupted(Database& database, Integer number);

}  // namespace Station
