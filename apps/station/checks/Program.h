// A program of the user's that measures or drives something at the station: a multimeter, a supply, a label printer.
#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "apps/station/checks/Check.h"
#include "apps/station/checks/Parameters.h"

namespace Station {

/// What to run, and the values that it prints as one JSON object on standard output.
struct Program {
    std::vector<std::string> command;  ///< the program, looked up in PATH unless it has a slash, and its arguments
    std::string folder;                ///< that it runs in: the plan's
    Seconds timeout{30};
    std::vector<Value> values;  ///< names, units and limits
};

/// Reads `command`, `timeout` and `values` of a plan's table.
Program ReadProgram(Parameters& parameters);

/// Runs it with these variables added to its environment, until it ends, its time is up or the stop flag is set. It has
/// no terminal, and a process group of its own, all of which ends with it. One that cannot be killed, because it
/// belongs to another user, is left behind after 2 s, with a message. Passed when it ends with exit code 0 and its
/// values are there and within their limits.
Finding RunProgram(const Program& program, const std::map<std::string, std::string>& environment,
                   const std::atomic<bool>& stop);

}  // namespace Station
