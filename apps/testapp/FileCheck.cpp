// The check of a file on the board.
#include "apps/testapp/FileCheck.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "apps/testapp/Descriptor.h"
#include "ioctl/CFileTest.h"

namespace TestApp {

namespace {

namespace fs = std::filesystem;

constexpr const char* MOUNT_POINT = "/mnt/usb";
constexpr const char* DISKS_AND_PARTITIONS[] = {"/dev/sda",  "/dev/sda1", "/dev/sdb",
                                                "/dev/sdb1", "/dev/sdc",  "/dev/sdc1"};
constexpr int CANNOT_BE_WRITTEN = 1;  // result code of FileVerify

/// True from before the disk is mounted until it is unmounted.
std::atomic<bool> g_isInUse{false};

/// A USB disk, mounted from construction to destruction. std::quick_exit unmounts it as well.
class MountedDisk {
public:
    MountedDisk()
    {
        [[maybe_unused]] static const int releasedAtExit = std::at_quick_exit([] {
            if (g_isInUse) {
                umount2(MOUNT_POINT, MNT_DETACH);
            }
        });
        g_isInUse = true;
        umount(MOUNT_POINT);
        m_isMounted = std::any_of(std::begin(DISKS_AND_PARTITIONS), std::end(DISKS_AND_PARTITIONS),
                                  [](const char* device) { return mount(device, MOUNT_POINT, "vfat", 0, "") == 0; });
    }
    ~MountedDisk()
    {
        if (m_isMounted && umount(MOUNT_POINT) != 0) {
            std::perror("testapp: cannot unmount /mnt/usb");
        }
        g_isInUse = false;
    }
    MountedDisk(const MountedDisk&) = delete;
    MountedDisk& operator=(const MountedDisk&) = delete;

    [[nodiscard]] bool IsMounted() const { return m_isMounted; }

private:
    bool m_isMounted;
};

/// The path without links, "." and ".."; empty when that fails.
fs::path Resolved(const fs::path& path)
{
    std::error_code error;
    return fs::weakly_canonical(fs::absolute(path, error), error);
}

bool IsOnDisk(const fs::path& path)
{
    const fs::path disk = Resolved(MOUNT_POINT);
    const fs::path file = Resolved(path);
    return !disk.empty() && std::mismatch(disk.begin(), disk.end(), file.begin(), file.end()).first == disk.end();
}

/// True for a regular file, and for a path where there is nothing. Opens nothing: opening alone may block, or start a
/// device.
bool CanBeFile(const std::string& path)
{
    const Descriptor found(open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status = {};
    return !found.IsValid() || (fstat(found.Get(), &status) == 0 && S_ISREG(status.st_mode));
}

Reply Verify(const std::string& path)
{
    return CanBeFile(path) ? ResultCodeReply(IOCTL::CFileTest().FileVerify(path.c_str()))
                           : StatusReply(STATUS_BAD_REQUEST);
}

}  // namespace

Reply CheckFile(const std::string& path)
{
    if (!IsOnDisk(path)) {
        return Verify(path);
    }
    const MountedDisk disk;
    return disk.IsMounted() ? Verify(path) : ResultCodeReply(CANNOT_BE_WRITTEN);
}

}  // namespace TestApp
