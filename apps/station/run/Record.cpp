// The record of a run: what happened, and who is told of it.
#include "apps/station/run/Record.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace Station {

namespace {

constexpr const char* RESULTS[] = {"PASS", "FAIL", "NOT DONE", "ABORTED"};
constexpr const char* VERDICTS[] = {"PASS",          "FAIL",        "PASSED, NOT COUNTED",
                                    "COULD NOT RUN", "INTERRUPTED", "IN PROGRESS"};

constexpr std::array<const char*, 4> SHORT_WORDS = {"PASS", "FAIL", "STOP", "VOID"};

/// The place of a word in a list.
template <std::size_t COUNT>
std::size_t IndexOf(const std::string& word, const char* const (&words)[COUNT])
{
    const auto found = std::find(std::begin(words), std::end(words), word);
    if (found == std::end(words)) {
        throw std::invalid_argument("'" + word + "' is no word for how a check or a run ends");
    }
    return static_cast<std::size_t>(found - std::begin(words));
}

bool Counts(const CheckRecord& check, Result result)
{
    return !check.isOptional && check.result == result;
}

bool HasAny(const RunRecord& run, Result result)
{
    return std::any_of(run.checks.begin(), run.checks.end(),
                       [&](const CheckRecord& check) { return Counts(check, result); });
}

bool IsComplete(const RunRecord& run)
{
    return run.leftOut.empty() && run.checks.size() == run.planned && !HasAny(run, Result::NotDone) &&
           !HasAny(run, Result::Aborted);
}

/// The names of the checks that ended like this, "a, b".
std::string Names(const RunRecord& run, Result result)
{
    std::string names;
    for (const CheckRecord& check : run.checks) {
        if (Counts(check, result)) {
            names += (names.empty() ? "" : ", ") + check.name;
        }
    }
    return names;
}

}  // namespace

long Count(const RunRecord& run, Result result)
{
    return std::count_if(run.checks.begin(), run.checks.end(),
                         [result](const CheckRecord& check) { return check.result == result; });
}

long CountFailures(const RunRecord& run)
{
    return std::count_if(run.checks.begin(), run.checks.end(),
                         [](const CheckRecord& check) { return Counts(check, Result::Fail); });
}

long CountOptionalFailures(const RunRecord& run)
{
    return Count(run, Result::Fail) - CountFailures(run);
}

long CountRepeated(const RunRecord& run)
{
    return std::count_if(run.checks.begin(), run.checks.end(),
                         [](const CheckRecord& check) { return check.result == Result::Pass && check.attempts > 1; });
}

Verdict Judge(const RunRecord& run)
{
    const bool hasPassed = std::any_of(run.checks.begin(), run.checks.end(),
                                       [](const CheckRecord& check) { return Counts(check, Result::Pass); });
    if (!run.couldRun) {
        return Verdict::CouldNotRun;
    }
    if (HasAny(run, Result::Fail) || !run.problem.empty()) {
        return Verdict::Fail;
    }
    return IsComplete(run) && hasPassed && run.isKept ? Verdict::Pass : Verdict::NotCounted;
}

std::string Reason(const RunRecord& run)
{
    std::string reason = run.problem;
    if (HasAny(run, Result::Fail)) {
        return Names(run, Result::Fail).append(reason.empty() ? "" : "; ").append(reason);
    }
    if (!reason.empty()) {
        return reason;
    }
    if (!run.leftOut.empty()) {
        reason = std::to_string(run.leftOut.size()) + " of " + std::to_string(run.planned) + " checks were left out";
    }
    if (HasAny(run, Result::NotDone)) {
        reason += (reason.empty() ? "" : "; ") + std::string("not carried out: ") + Names(run, Result::NotDone);
    }
    if (!run.isKept) {
        reason += (reason.empty() ? "" : "; ") + std::string("it is in no records");
    }
    return reason;
}

int ExitCode(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Pass:
        return 0;
    case Verdict::Fail:
        return 1;
    case Verdict::NotCounted:
        return 3;
    default:
        return 2;
    }
}

const char* ShortWord(int exitCode)
{
    return SHORT_WORDS.at(static_cast<std::size_t>(exitCode));
}

const char* Word(Result result)
{
    return RESULTS[static_cast<std::size_t>(result)];
}

const char* Word(Verdict verdict)
{
    return VERDICTS[static_cast<std::size_t>(verdict)];
}

Result ResultOf(const std::string& word)
{
    return static_cast<Result>(IndexOf(word, RESULTS));
}

Verdict VerdictOf(const std::string& word)
{
    return static_cast<Verdict>(IndexOf(word, VERDICTS));
}

}  // namespace Station
