// The subcommands: each does what was typed, until it is done or the stop flag is set, and returns the exit code. They
// throw std::exception when it cannot be done.
#pragma once

#include <atomic>

#include "apps/station/Options.h"

namespace Station {

constexpr int COULD_NOT_RUN = 2;  // an exit code

/// plan
int ShowPlan(const Options& options);
/// send
int Send(const Options& options, const std::atomic<bool>& stop);
/// line
int Line(const Options& options, const std::atomic<bool>& stop);
/// run
int Test(const Options& options, const std::atomic<bool>& stop);
/// forward
int Forward(const Options& options, const std::atomic<bool>& stop);

}  // namespace Station
