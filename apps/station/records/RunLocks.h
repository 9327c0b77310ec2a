// Tells the runs that are in progress from those that a killed station has left.
#pragma once

#include <string>

#include "apps/station/records/Database.h"

namespace Station {

/// Locks of one process, each on the byte of a run's number in a file beside the database. The kernel takes them away
/// with the process, whatever ends it.
class RunLocks {
public:
    /// @throws RecordError when the file cannot be made
    explicit RunLocks(const std::string& file);
    ~RunLocks();
    RunLocks(const RunLocks&) = delete;
    RunLocks& operator=(const RunLocks&) = delete;

    /// False when another process has it, or another object of this one.
    bool Take(Integer run);
    void Release(Integer run);

private:
    bool Set(short type, Integer run);

    int m_fd;
};

}  // namespace Station
