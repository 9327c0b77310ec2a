// What the subcommands that answer questions print.
#pragma once

#include <string>

namespace Station {

/// Writes to standard output.
/// @throws std::runtime_error when it does not take everything
void WriteOut(const std::string& text);

}  // namespace Station
