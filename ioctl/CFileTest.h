// The check of the USB host port.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Mounts a USB disk, and verifies a file written and read back. The mount point "/mnt/usb" belongs to the whole
/// system: two checks must not run at the same time.
class TESTMODE_API CFileTest {
public:
    CFileTest();
    virtual ~CFileTest();

    /// Mounts disk `index` (0 to 2 for "/dev/sda" to "/dev/sdc"; the whole disk, else its first partition) as vfat at
    /// "/mnt/usb", which must exist, and unmounts it again. Takes at least 1 second and needs CAP_SYS_ADMIN. 0 when it
    /// could be mounted, else -1, also for another index. Logs nothing; whatever is mounted there is unmounted in every
    /// case.
    int MountUSB(int index);

    /// Writes 1024 bytes (byte i is i modulo 256) to a new file at `path`, which stays there, and reads them back. 0
    /// when they are equal, 1 when the file cannot be written, 2 when it cannot be opened again, 3 when the content
    /// differs, which includes a short write or read.
    int FileVerify(char const* path);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
