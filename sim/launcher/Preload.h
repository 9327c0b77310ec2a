// Whether a library can be preloaded under a program: without it the program would reach the PC's own devices.
#pragma once

#include <string>

namespace Launch {

/// Why the loader would not put the simulated board under the program, which is found as execvp finds it: it is linked
/// statically, built for another processor, or gets privileges when it starts. For a script the interpreter is judged.
/// Empty when the program can be preloaded, and when there is no such program.
std::string WhyNotPreloaded(const std::string& program);

}  // namespace Launch
