// The check of the USB host port.
#include "ioctl/CFileTest.h"

#include <array>
#include <cstdio>
#include <memory>

#include <sys/mount.h>
#include <unistd.h>

#include "ioctl/internal/ClassLogger.h"

namespace IOCTL {

namespace {

constexpr const char* MOUNT_POINT = "/mnt/usb";
constexpr std::size_t PATTERN_SIZE = 1024;
using Pattern = std::array<unsigned char, PATTERN_SIZE>;

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
        sleep(1);
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
    Pattern written;
    for (std::size_t i = 0; i < written.size(); ++i) {
        written[i] = static_cast<unsigned char>(i);
    }
    File file(std::fopen(path, "wb"));
    if (!file) {
        return 1;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);  // the count logged is what the file took
    std::size_t items = std::fwrite(written.data(), written.size(), 1, file.get());
    m_logger.WriteDebug("fwrite = %d\n", static_cast<int>(items));
    file.reset();

    file.reset(std::fopen(path, "rb"));
    if (!file) {
        return 2;
    }
    Pattern read = {};
    items = std::fread(read.data(), read.size(), 1, file.get());
    m_logger.WriteDebug("fread = %d\n", static_cast<int>(items));
    file.reset();
    if (items != 1 || read != written) {
        return 3;
    }
    m_logger.WriteDebug("memcmp OK");
    return 0;
}

}  // namespace IOCTL
