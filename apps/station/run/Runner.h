// Carries a plan out on one unit.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/plan/Plan.h"
#include "apps/station/run/Record.h"

namespace Station {

/// What is said of a run besides its plan.
struct RunOptions {
    std::string unit;  ///< serial number; may be empty
    std::string port;
    std::string people;              ///< the operator's name
    std::string station;             ///< version of this program
    std::string suspicion;           ///< what else to say when no board answers
    std::vector<std::string> words;  ///< of the command line, for the record
    std::vector<std::string> only;   ///< names of checks; all when empty
    std::vector<std::string> skip;   ///< names of checks
    std::optional<int> retries;      ///< instead of each check's own
    std::optional<Seconds> timeout;  ///< of an attempt that waits for nobody, instead of each check's own
};

/// Whoever is told of a run. What the records could not keep is not shown.
struct Sinks {
    RecordSink& records;
    RecordSink& viewer;
};

/// One run on one thread. Plan, operator, sinks and stop flag outlive it.
class Runner {
public:
    Runner(const Plan& plan, RunOptions options, Operator& people, Sinks sinks, const std::atomic<bool>& stop);

    /// Opens the port and carries the plan out, until its end, the stop flag, the loss of the port, of the board or of
    /// the records.
    RunRecord Run();

private:
    void Fill();
    void OpenAndRun();
    bool Keep(const std::function<void()>& tell);
    void KeepEnd();
    void End(const std::string& problem);
    void RunPlan(Link& link);
    bool RunBefore();
    void RunAfter();
    bool FindBoard(Link& link);
    bool IsAnswering(Link& link, Seconds timeout);
    void Carry(Link& link, const Entry& entry);
    void Resume(Link& link, const Entry& entry);
    Finding Find(const Entry& entry, Bench& bench);
    void Measure(const Entry& entry, Finding& finding) const;
    void Ask(const Entry& entry, Finding& finding);
    [[nodiscard]] bool IsChosen(const Entry& entry) const;
    [[nodiscard]] bool HasFailed() const;
    [[nodiscard]] bool IsOver() const;

    const Plan& m_plan;
    RunOptions m_options;
    Operator& m_people;
    Sinks m_sinks;
    const std::atomic<bool>& m_stop;
    UnitState m_state;
    std::map<std::string, std::string> m_environment;
    RunRecord m_run;
    std::string m_current;   // name of the check in progress
    int m_unanswered = 0;    // checks in a row
    Transcript m_questions;  // whether there is a board, and what came back
};

/// A new random UUID (RFC 4122, version 4).
/// @throws std::runtime_error when the system gives none
std::string NewUuid();

}  // namespace Station
