// Calls that examine a path, such as stat: they get the path behind it.
#pragma once

#include <string>

#include "sim/Real.h"

namespace Sim {

/// The PC's path to examine in place of `path`.
std::string Behind(const std::string& path);

/// Calls the C library's function `name` with the path behind `path`, followed by the arguments.
template <class Result, class... Arguments>
Result Ask(const char* name, const char* path, Arguments... arguments)
{
    return Next<Result(const char*, Arguments...)>(name)(Behind(path).c_str(), arguments...);
}

/// The same for a function whose first argument is a folder's descriptor.
template <class... Arguments>
int AskAt(const char* name, int folder, const char* path, Arguments... arguments)
{
    return Next<int(int, const char*, Arguments...)>(name)(folder, Behind(path).c_str(), arguments...);
}

}  // namespace Sim
