// The subcommands: each does what was typed, until it is done or the stop flag is set, and returns the exit code. They
// throw std::exception when it cannot be done.
#pragma once

#include <atomic>

#include "apps/station/Options.h"

namespace Station {

constexpr int COULD_NOT_RUN = 2;  // an exit code

/// backup
int Backup(const Options& options);
/// history
int ShowHistory(const Options& options);
/// plan
int ShowPlan(const Options& options);
/// prune
int Prune(const Options& options);
/// send
int Send(const Options& options, const std::atomic<bool>& stop);
/// show
int ShowRun(const Options& options);
/// yield
int ShowYield(const Options& options);
/// line
int Line(const Options& options, const std::atomic<bool>& stop);
/// serve
int Serve(const Options& options, const std::atomic<bool>& stop);
/// run
int Test(const Options& options, const std::atomic<bool>& stop);
/// forward
int Forward(const Options& options, const std::atomic<bool>& stop);

}  // namespace Station
