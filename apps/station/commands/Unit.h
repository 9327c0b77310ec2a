// One unit on one port: what the subcommands that test units have in common.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "apps/station/Console.h"
#include "apps/station/Options.h"
#include "apps/station/records/BackgroundForwarder.h"
#include "apps/station/records/Records.h"

namespace Station {

/// The plan that was asked for, with the line settings of the command line.
/// @throws PlanError
Plan ReadPlan(const Options& options);

/// Blanks and line ends around a scanned number do not belong to it. What is left has to be what the plan asks for.
/// @throws std::runtime_error that says why it is no serial number
std::string SerialNumber(const std::string& scanned, const Plan& plan);

/// The records that were asked for, null for none. Says which runs were interrupted since the last start.
/// @throws RecordError
std::unique_ptr<Records> OpenRecords(const Options& options, Console& console);

/// Copies them to the shared database while units are tested; null when none was named.
/// @throws RecordError
std::unique_ptr<BackgroundForwarder> StartForwarding(const Options& options, Records* records, Console& console,
                                                     const std::atomic<bool>& stop);

/// What the ports have in common; it outlives them.
struct Bay {
    const Options& options;
    const Plan& plan;
    Records* records;  ///< null for none
    const std::atomic<bool>& stop;
};

/// Carries the plan out once, with its records written; returns the exit code. Several ports do so at once.
/// @throws std::exception when it cannot begin
int TestUnit(const Bay& bay, const std::string& port, const std::string& unit, Viewer& viewer);

}  // namespace Station
