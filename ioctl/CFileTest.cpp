// The check of the USB host port.
#include "ioctl/CFileTest.h"

#include <array>
#include <cstdio>
#include <memory>

#include <sys/mount.h>

#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/Pause.h"

namespace IOCTL {

namespace {

constexpr const char* MOUNT_POINT = "/mnt/usb";
using Pattern = std::array<unsigned char, 1024>;

struct Disk {
    const char* whole;
    const char* firstPartition;
};

constexpr std::array<Disk, 3> DISKS = {{
    {"/dev/sda", "/dev/sda1"},
    {"/dev/sdb", "/dev/sdb1"},
    {"/dev/sdc", "/dev/sdc1"},
}};

int MountDisk(const char* device)
{
    return mount(device, MOUNT_POINT, "vfat", 0, "");
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace

CFileTest::CFileTest() : m_logger(ClassLogger("CFileTest")) {}

CFileTest::~CFileTest() = default;

int CFileTest::MountUSB(int index)
{
    int result = -1;
    if (index >= 0 && index < static_cast<int>(DISKS.size())) {
        const Disk& disk = DISKS[static_cast<std::size_t>(index)];
        umount(MOUNT_POINT);
        PauseOneSecond();
        result = MountDisk(disk.whole);
        if (result == -1) {
            result = MountDisk(disk.firstPartition);
        }
    }
    umount(MOUNT_POINT);
    return result;
}

int CFileTest::FileVerify(char const* path)
{
    Pattern pattern;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<unsigned char>(i);
    }
    {
        const File file(std::fopen(path, "wb"));
        if (!file) {
            return 1;
        }
        std::setvbuf(file.get(), nullptr, _IONBF, 0);  // unbuffered: the logged count is what the file took
        const std::size_t items = std::fwrite(pattern.data(), pattern.size(), 1, file.get());
        m_logger.WriteDebug("fwrite = %d\n", static_cast<int>(items));
    }
    Pattern content = {};
    {
        const File file(std::fopen(path, "rb"));
        if (!file) {
            return 2;
        }
        const std::size_t items = std::fread(content.data(), content.size(), 1, file.get());
        m_logger.WriteDebug("fread = %d\n", static_cast<int>(items));
    }
    if (content != pattern) {  // also after a short read: the last byte of the pattern is not 0
        return 3;
    }
    m_logger.WriteDebug("memcmp OK");
    return 0;
}

}  // namespace IOCTL
