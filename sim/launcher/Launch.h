// Running a program, for the launcher of the simulated board.
#pragma once

#include <string>
#include <vector>

namespace Launch {

/// The exit codes of a program that was not run.
inline constexpr int NOT_FOUND = 127;
inline constexpr int CANNOT_RUN = 126;

/// Becomes the program; returns NOT_FOUND or CANNOT_RUN when that fails, with a message on standard error.
int Become(std::vector<std::string>& command);

/// Runs the program as a child and waits for its end. SIGINT, SIGTERM and SIGHUP that are sent to this process reach
/// the child. Returns the child's exit code, or 128 plus the number of the signal that ended it; NOT_FOUND or
/// CANNOT_RUN as Become does.
int Run(std::vector<std::string>& command);

}  // namespace Launch
