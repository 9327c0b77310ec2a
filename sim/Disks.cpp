// USB disks of the simulated board, and mounting them.
#include <cerrno>
#include <mutex>

#include "sim/Devices.h"

namespace Sim {

namespace {

struct State {
    std::array<Disk, 3> disks = {Disk::ABSENT, Disk::ABSENT, Disk::ABSENT};
    std::map<std::string, std::string> mounts;
};

std::mutex g_mutex;

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

Disk WhatIs(std::size_t index)
{
    if (HasFault("disk-missing")) {
        return Disk::ABSENT;
    }
    const Disk disk = TheState().disks.at(index);
    if (disk != Disk::ABSENT && HasFault("disk-unformatted")) {
        return Disk::UNFORMATTED;
    }
    if (disk == Disk::WHOLE && HasFault("disk-partitioned")) {
        return Disk::PARTITIONED;
    }
    return disk;
}

/// 0, or the error number why there is no file system on "/dev/sda" to "/dev/sdc1".
int Examine(const std::string& source)
{
    const std::string prefix = "/dev/sd";
    const std::string name = source.substr(0, prefix.size()) == prefix ? source.substr(prefix.size()) : "";
    const bool isPartition = name.size() == 2 && name[1] == '1';
    if ((name.size() != 1 && !isPartition) || name[0] < 'a' || name[0] > 'c') {
        return ENOENT;
    }
    const Disk disk = WhatIs(static_cast<std::size_t>(name[0] - 'a'));
    if (disk == Disk::ABSENT || (isPartition && disk != Disk::PARTITIONED)) {
        return ENOENT;
    }
    return isPartition || disk == Disk::WHOLE ? 0 : EINVAL;
}

}  // namespace

int MountDisk(const std::string& source, const std::string& target, const std::string& type)
{
    const std::lock_guard lock(g_mutex);
    if (TheState().mounts.count(target) != 0) {
        return Fail(EBUSY);
    }
    const int error = type == "vfat" ? Examine(source) : ENODEV;
    if (error == 0) {
        TheState().mounts[target] = source;
    }
    return Fail(error);
}

int Unmount(const std::string& target)
{
    const std::lock_guard lock(g_mutex);
    return Fail(TheState().mounts.erase(target) != 0 ? 0 : EINVAL);
}

void ResetDisks()
{
    const std::lock_guard lock(g_mutex);
    TheState() = {};
}

void PlugIn(int index, Disk disk)
{
    const std::lock_guard lock(g_mutex);
    TheState().disks.at(static_cast<std::size_t>(index)) = disk;
}

std::map<std::string, std::string> Mounts()
{
    const std::lock_guard lock(g_mutex);
    return TheState().mounts;
}

}  // namespace Sim
