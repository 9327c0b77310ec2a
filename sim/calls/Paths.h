// Calls that ask about a path: they are made for what stands behind it.
#pragma once

#include <string>

#include "sim/Real.h"

namespace Sim {

/// The path of the PC that calls ask about when they ask about this one.
std::string Behind(const std::string& path);

/// The result of the function of that name, which takes a path and then those arguments.
template <class Result, class... Arguments>
Result Ask(const char* name, const char* path, Arguments... arguments)
{
    return Next<Result(const char*, Arguments...)>(name)(Behind(path).c_str(), arguments...);
}

/// The same for a function that takes a folder in front of the path.
template <class... Arguments>
int AskAt(const char* name, int folder, const char* path, Arguments... arguments)
{
    return Next<int(int, const char*, Arguments...)>(name)(folder, Behind(path).c_str(), arguments...);
}

}  // namespace Sim
