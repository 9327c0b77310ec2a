// USB disks of the simulated board, mounting them, and the files below the mount point.
#include <algorithm>
#include <filesystem>
#include <mutex>
#include <set>

#include <fcntl.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"

namespace Sim {

namespace {

constexpr auto MOUNT_POINT = "/mnt/usb";

/// The part of a path after the mount point, from its "/" on; empty for the mount point itself, std::nullopt for other
/// paths.
std::optional<std::string> BelowMountPoint(const std::string& path)
{
    if (path.find(MOUNT_POINT) == std::string::npos) {
        return std::nullopt;  // shortcut for most paths
    }
    const std::string normal = std::filesystem::path(path).lexically_normal();
    const std::string below = normal.substr(std::min(normal.size(), std::string(MOUNT_POINT).size()));
    const bool isBelow = normal == MOUNT_POINT + below && (below.empty() || below[0] == '/');
    return isBelow ? std::optional(below) : std::nullopt;
}

/// Mounts and open files belong to one process. Another process mounts the disk for itself.
class UsbDisks : public Device {
public:
    void Reset() override;
    void PowerOn() override { PlugIn(0, Disk::WHOLE); }
    [[nodiscard]] bool Owns(const std::string& path) const override;
    [[nodiscard]] std::string Behind(const std::string& path) const override;
    [[nodiscard]] int BeforeChange(const std::string& path) const override;
    int Open(const std::string& path, int flags, mode_t mode) override;
    void AfterRead(int fd, unsigned char* bytes, std::size_t count) override;
    int BeforeWrite(int fd) override;
    [[nodiscard]] bool HandlesBytes() const override;
    void Close(int fd) override;

    void UseFolder(const std::string& folder);
    void PlugIn(int index, Disk disk);
    int Mount(const std::string& source, const std::string& target, const std::string& type);
    int Unmount(const std::string& target);
    std::map<std::string, std::string> Mounts();

private:
    // With the mutex held:
    [[nodiscard]] bool IsMounted() const { return m_mounts.count(MOUNT_POINT) != 0; }
    [[nodiscard]] std::string Place(const std::string& path) const;
    [[nodiscard]] Disk WhatIs(std::size_t index) const;
    [[nodiscard]] int Examine(const std::string& source) const;

    DeviceFault m_missing{*this, "disk-missing", "no USB disk is plugged in"};
    DeviceFault m_unformatted{*this, "disk-unformatted", "the USB disk has no file system"};
    DeviceFault m_partitioned{*this, "disk-partitioned",
                              "the USB disk has a partition table: every check passes all the same"};
    DeviceFault m_full{*this, "disk-full", "files on the USB disk take no data"};
    DeviceFault m_readOnly{*this, "disk-read-only", "no file can be created on the USB disk"};
    DeviceFault m_corrupt{*this, "disk-corrupt", "files on the USB disk read back with a wrong bit"};

    mutable std::mutex m_mutex;
    std::array<Disk, 3> m_disks = {Disk::ABSENT, Disk::ABSENT, Disk::ABSENT};
    std::map<std::string, std::string> m_mounts;
    std::set<int> m_files;  // open files of the disk
    std::string m_folder;   // for the board's files; empty when none is set
};

void UsbDisks::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_disks.fill(Disk::ABSENT);
    m_mounts.clear();
    m_folder.clear();
}

bool UsbDisks::Owns(const std::string& path) const
{
    const std::lock_guard lock(m_mutex);
    return !m_folder.empty() && BelowMountPoint(path);
}

/// Where the file is: on the disk while one is mounted, else in the board's root file system.
std::string UsbDisks::Place(const std::string& path) const
{
    const std::string below = BelowMountPoint(path).value_or("");
    return m_folder + (IsMounted() ? "/usb" : std::string("/root") + MOUNT_POINT) + below;
}

std::string UsbDisks::Behind(const std::string& path) const
{
    const std::lock_guard lock(m_mutex);
    return Place(path);
}

int UsbDisks::BeforeChange(const std::string& /*path*/) const
{
    const std::lock_guard lock(m_mutex);
    return IsMounted() && m_readOnly ? -EROFS : 0;
}

int UsbDisks::Open(const std::string& path, int flags, mode_t mode)
{
    const std::lock_guard lock(m_mutex);
    const bool isWritten = (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
    if (IsMounted() && isWritten && m_readOnly) {
        return -EROFS;
    }
    const int fd = Real::Open(Place(path), flags, mode);
    if (fd >= 0 && IsMounted()) {
        m_files.insert(fd);
    }
    return fd;
}

void UsbDisks::AfterRead(int fd, unsigned char* bytes, std::size_t count)
{
    const std::lock_guard lock(m_mutex);
    if (m_corrupt && count > 0 && m_files.count(fd) != 0) {
        bytes[count / 2] ^= 1U;
    }
}

int UsbDisks::BeforeWrite(int fd)
{
    const std::lock_guard lock(m_mutex);
    return m_full && m_files.count(fd) != 0 ? -ENOSPC : 0;
}

bool UsbDisks::HandlesBytes() const
{
    const std::lock_guard lock(m_mutex);
    return IsMounted() && (m_full || m_corrupt);
}

void UsbDisks::Close(int fd)
{
    const std::lock_guard lock(m_mutex);
    m_files.erase(fd);
}

void UsbDisks::UseFolder(const std::string& folder)
{
    const std::lock_guard lock(m_mutex);
    m_folder = folder;
}

void UsbDisks::PlugIn(int index, Disk disk)
{
    const std::lock_guard lock(m_mutex);
    m_disks.at(static_cast<std::size_t>(index)) = disk;
}

Disk UsbDisks::WhatIs(std::size_t index) const
{
    if (m_missing) {
        return Disk::ABSENT;
    }
    const Disk disk = m_disks.at(index);
    if (disk != Disk::ABSENT && m_unformatted) {
        return Disk::UNFORMATTED;
    }
    if (disk == Disk::WHOLE && m_partitioned) {
        return Disk::PARTITIONED;
    }
    return disk;
}

/// 0, or the error number that tells why there is no file system on "/dev/sda" to "/dev/sdc1".
int UsbDisks::Examine(const std::string& source) const
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

int UsbDisks::Mount(const std::string& source, const std::string& target, const std::string& type)
{
    const std::lock_guard lock(m_mutex);
    if (m_mounts.count(target) != 0) {
        return Fail(EBUSY);
    }
    const int error = type == "vfat" ? Examine(source) : ENODEV;
    if (error == 0) {
        m_mounts[target] = source;
    }
    return Fail(error);
}

int UsbDisks::Unmount(const std::string& target)
{
    const std::lock_guard lock(m_mutex);
    return Fail(m_mounts.erase(target) != 0 ? 0 : EINVAL);
}

std::map<std::string, std::string> UsbDisks::Mounts()
{
    const std::lock_guard lock(m_mutex);
    return m_mounts;
}

UsbDisks& TheDisks()
{
    static UsbDisks& disks = *new UsbDisks;  // never destroyed: calls arrive until the very end of the process
    return disks;
}

}  // namespace

Device& Disks()
{
    return TheDisks();
}

void UseFolder(const std::string& folder)
{
    TheDisks().UseFolder(folder);
}

void PlugIn(int index, Disk disk)
{
    TheDisks().PlugIn(index, disk);
}

int Mount(const std::string& source, const std::string& target, const std::string& type)
{
    return TheDisks().Mount(source, target, type);
}

int Unmount(const std::string& target)
{
    return TheDisks().Unmount(target);
}

std::map<std::string, std::string> Mounts()
{
    return TheDisks().Mounts();
}

}  // namespace Sim
