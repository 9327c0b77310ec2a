// Carries out checks over the link, with retries, and keeps the record.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "apps/station/Checks.h"
#include "apps/station/Link.h"
#include "apps/station/Record.h"

namespace Station {

/// The message of a run or check that was ended by the stop flag.
inline constexpr const char* INTERRUPTED = "interrupted";

struct Policy {
    int retries = 1;                 ///< repetitions after silence, an error frame or a damaged reply
    std::optional<Seconds> timeout;  ///< for one attempt, instead of each check's own
};

/// Sends `request` as the check's command until a reply comes or the retries are used up, and fills `record`.
/// @throws PortError if the port is gone; the record then holds what was done
void RunCheck(Link& link, const Policy& policy, const Check& check, const Bytes& request, CheckRecord& record);

/// One step of a plan: names the record first, then fills it; may throw PortError.
using Step = std::function<void(CheckRecord&)>;

/// The plan of `run`: a step for each of Checks(). The arguments outlive the steps.
std::vector<Step> PlanChecks(Link& link, const Policy& policy);

/// Carries the steps out until the last one, the stop flag or the loss of the port, and passes each result on.
/// `run` comes with its start; its end is told by a clock that nobody sets.
void RunSteps(Link& link, const std::vector<Step>& steps, RunRecord& run,
              const std::function<void(const CheckRecord&)>& onResult);

}  // namespace Station
