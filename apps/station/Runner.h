// Carries out checks over the link, with retries, and keeps the record.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/Link.h"
#include "apps/station/Plan.h"
#include "apps/station/Record.h"

namespace Station {

struct Verdict {
    Result result;
    std::string message;
    std::optional<int> status;  ///< none without a reply
    Values values;
};

/// Judges a reply of 31 bytes to `request`.
Verdict Judge(const Check& check, const Bytes& request, const Bytes& reply, unsigned char boardType);

/// The message of a run or check that was ended by the stop flag.
inline constexpr const char* INTERRUPTED = "interrupted";

struct Policy {
    /// Repetitions after silence, an error frame or a damaged reply; not after silence when somebody is waited for.
    int retries = 1;
    std::optional<Seconds> timeout;  ///< for one attempt, instead of each command's own
};

/// Sends the check's request until a reply comes or the retries are used up, and fills `record`.
/// @throws PortError if the port is gone; the record then holds what was done
void RunCheck(Link& link, const Policy& policy, const Check& check, CheckRecord& record);

/// One step of a plan: names the record first, then fills it; may throw PortError.
using Step = std::function<void(CheckRecord&)>;

/// A step for each check of a plan, which `onStart` is told as it begins. Link, policy and plan outlive the steps.
std::vector<Step> PlanChecks(Link& link, const Policy& policy, const std::vector<Check>& plan,
                             const std::function<void(const Check&)>& onStart);

/// Carries the steps out until the last one, the stop flag or the loss of the port, and passes each result on.
/// `run` comes with its start; its end is told by a clock that nobody sets.
void RunSteps(Link& link, const std::vector<Step>& steps, RunRecord& run,
              const std::function<void(const CheckRecord&)>& onResult);

}  // namespace Station
