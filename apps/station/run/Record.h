// The record of a run: what happened, and who is told of it.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/station/checks/Check.h"

namespace Station {

struct CheckRecord {
    std::string name;  ///< unique in its plan
    std::string kind;
    std::optional<unsigned char> code;  ///< of the command; none for what is no command
    bool isOptional = false;
    Result result = Result::Aborted;
    std::string message;  ///< what came back, in words
    std::string hint;     ///< the plan's, for a check that failed
    Values values;
    std::optional<int> status;  ///< data byte 0 of the reply
    Seconds duration{0};        ///< over all attempts
    int attempts = 0;           ///< one more than its repetitions
    std::vector<Traffic> traffic;
};

enum class Verdict {
    Pass,         ///< this unit may be shipped
    Fail,         ///< a check failed
    NotCounted,   ///< nothing failed, but it is no PASS: something was not carried out
    CouldNotRun,  ///< the run could not begin, or did not come to its end
    Interrupted,  ///< the station itself ended in the middle of the run: found at its next start
    InProgress,   ///< not judged yet
};

struct RunRecord {
    std::string id;        ///< UUID
    std::string unit;      ///< serial number of the unit under test; may be empty
    std::string planFile;  ///< empty for the built-in plan
    std::string planName;
    std::string planVersion;
    std::string planSha256;
    std::string station;               ///< version of this program
    std::string host;                  ///< name of the PC
    std::string people;                ///< the operator's name
    std::vector<std::string> options;  ///< as they were typed
    std::string port;
    LineSettings line;
    unsigned char boardType = 0;
    std::chrono::system_clock::time_point start;
    std::chrono::system_clock::time_point end;
    std::size_t planned = 0;           ///< checks of the plan
    std::vector<std::string> leftOut;  ///< names of those that --only and --skip left out
    CheckRecord link;                  ///< whether a board answers, before the first check
    std::vector<CheckRecord> checks;
    std::string problem;   ///< why the run did not come to its end; empty when it did
    bool couldRun = true;  ///< false when that problem is not the unit's
    bool isKept = false;   ///< in the records, durably
    std::optional<std::chrono::system_clock::time_point> pruned;  ///< when the records gave up its traffic, if they did
    Verdict verdict = Verdict::InProgress;
};

/// How many checks ended like this.
long Count(const RunRecord& run, Result result);
/// How many failed whose result counts.
long CountFailures(const RunRecord& run);
/// How many failed that are optional: they cost no PASS.
long CountOptionalFailures(const RunRecord& run);
/// How many passed only after a repetition.
long CountRepeated(const RunRecord& run);
/// The verdict on what has been found, and why.
Verdict Judge(const RunRecord& run);
/// Why the verdict is no PASS, or nothing.
std::string Reason(const RunRecord& run);
/// 0 this unit may be shipped, 1 a check failed, 2 it could not run, 3 nothing failed, but it is no PASS.
int ExitCode(Verdict verdict);
/// For people at a distance, of an exit code: "PASS", "FAIL", "STOP" (it could not run), "VOID" (it is no PASS).
const char* ShortWord(int exitCode);

/// "PASS", "FAIL", "NOT DONE", "ABORTED"
const char* Word(Result result);
/// "PASS", "FAIL", "PASSED, NOT COUNTED", "COULD NOT RUN", "INTERRUPTED", "IN PROGRESS"
const char* Word(Verdict verdict);
/// The one of that word.
/// @throws std::invalid_argument
Result ResultOf(const std::string& word);
Verdict VerdictOf(const std::string& word);

/// What was to be kept could not be kept.
class RecordError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Is told each thing as it happens, on the thread of the run.
class RecordSink {
public:
    virtual ~RecordSink() = default;

    /// True for one that keeps what it is told: when a call returns, it is durable. Such a one throws RecordError when
    /// it cannot.
    [[nodiscard]] virtual bool IsKeeping() const { return false; }

    virtual void OnBegin(const RunRecord& /*run*/) {}
    /// A check begins; `name` is that of the plan.
    virtual void OnCheck(const std::string& /*name*/) {}
    virtual void OnTraffic(const Traffic& /*entry*/) {}
    /// Several times a second, while a reply is awaited.
    virtual void OnWait(const std::string& /*name*/, Seconds /*waited*/, Seconds /*limit*/) {}
    virtual void OnJudged(const RunRecord& /*run*/, const CheckRecord& /*check*/) {}
    /// The checks have been judged; a program that the plan runs after that is still to come.
    virtual void OnVerdict(const RunRecord& /*run*/) {}
    virtual void OnEnd(const RunRecord& /*run*/) {}
};

}  // namespace Station
