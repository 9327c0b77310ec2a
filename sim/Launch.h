// Running a program, for the launcher of the simulated board.
#pragma once

#include <string>
#include <vector>

namespace Launch {

/// Becomes the program; returns the exit code when that fails: 127 when it is not found, else 126, with a message on
/// standard error.
int Become(std::vector<std::string>& command);

/// Runs the program as a child and waits for its end. SIGINT, SIGTERM and SIGHUP that are sent to this process reach
/// the child. Returns the child's exit code, 128 and the number of the signal that it died of, or that of Become.
int Run(std::vector<std::string>& command);

}  // namespace Launch
