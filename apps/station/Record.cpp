// The record of a run: what the reports are made of.
#include "apps/station/Record.h"

#include <algorithm>

namespace Station {

long Count(const RunRecord& run, Result result)
{
    return std::count_if(run.checks.begin(), run.checks.end(),
                         [result](const CheckRecord& check) { return check.result == result; });
}

Result Overall(const RunRecord& run)
{
    if (!run.abortReason.empty()) {
        return Result::Aborted;
    }
    return Count(run, Result::Fail) > 0 ? Result::Fail : Result::Pass;
}

}  // namespace Station
