// The check of the USB host port.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Mounts a USB disk, and verifies a file that it writes and reads back. There is one mount point for the whole system,
/// "/mnt/usb": two checks must not run at the same time.
class TESTMODE_API CFileTest {
public:
    CFileTest();
    virtual ~CFileTest();

    /// Mounts disk `index` (0 to 2 for "/dev/sda" to "/dev/sdc"; the whole disk, else its first partition) as vfat at
    /// "/mnt/usb", which must exist, and unmounts it again. Takes at least 1 second and needs CAP_SYS_ADMIN. 0 when the
    /// disk could be mounted, else -1, as for any other index. Logs nothing. Whatever is mounted there is unmounted in
    /// every case.
    int MountUSB(int index);

    /// Writes 1024 bytes (byte i is i modulo 256) to the file at `path` (not null), which is created or replaced and
    /// stays there, and reads them back. 0 when they are equal, 1 when the file cannot be opened for writing, 2 when it
    /// cannot be opened for reading, 3 when the content differs, also because a write or a read was short or failed.
    int FileVerify(char const* path);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
