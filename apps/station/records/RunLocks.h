// Tells the runs that are in progress from those that a killed station has left.
#pragma once

#include <string>

#include "apps/station/records/Database.h"

namespace Station {

/// The file of the locks: beside the database itself, also where that is reached through a link.
/// @throws RecordError when the links lead nowhere
std::string LocksOf(const std::string& database);

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

    /// Whether any process has the lock of that run; for those who only look on, so without a file there is none.
    /// @throws RecordError when the file cannot be read
    static bool IsTaken(const std::string& file, Integer run);

private:
    bool Set(short type, Integer run);

    int m_fd;
};

}  // namespace Station
