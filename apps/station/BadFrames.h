// Frames that are wrong on purpose: the board must answer each with the error frame, and work on.
#pragma once

#include "apps/station/Runner.h"

namespace Station {

/// The plan of `bad-frames`: a step for each kind of bad frame. The arguments outlive the steps.
std::vector<Step> PlanBadFrames(Link& link, const Policy& policy);

}  // namespace Station
