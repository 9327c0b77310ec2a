// The record of a run: what happened, and who is told of it.
#include "apps/station/run/Record.h"

#include <algorithm>

namespace Station {

namespace {

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
    return IsComplete(run) && hasPassed ? Verdict::Pass : Verdict::NotCounted;
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
    return reason;
}

int ExitCode(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Pass:
        return 0;
    case Verdict::Fail:
        return 1;
    case Verdict::CouldNotRun:
        return 2;
    default:
        return 3;
    }
}

const char* Word(Result result)
{
    constexpr const char* WORDS[] = {"PASS", "FAIL", "NOT DONE", "ABORTED"};
    return WORDS[static_cast<std::size_t>(result)];
}

const char* Word(Verdict verdict)
{
    constexpr const char* WORDS[] = {"PASS", "FAIL", "PASSED, NOT COUNTED", "COULD NOT RUN"};
    return WORDS[static_cast<std::size_t>(verdict)];
}

}  // namespace Station
