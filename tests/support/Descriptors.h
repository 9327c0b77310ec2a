// The descriptors that a process has open.
#pragma once

#include <set>
#include <string>

#include <dirent.h>

namespace Support {

/// The descriptors of this process, or of the one with that identifier. The simulated board records none of its calls.
inline std::set<int> OpenDescriptors(const std::string& process = "self")
{
    std::set<int> descriptors;
    DIR* const folder = opendir(("/proc/" + process + "/fd").c_str());
    while (const dirent* const entry = readdir(folder)) {
        if (entry->d_name[0] != '.') {
            descriptors.insert(std::stoi(entry->d_name));
        }
    }
    if (process == "self") {
        descriptors.erase(dirfd(folder));
    }
    closedir(folder);
    return descriptors;
}

}  // namespace Support
