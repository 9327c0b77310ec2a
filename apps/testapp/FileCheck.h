// The check of a file on the board.
#pragma once

#include <string>

#include "apps/testapp/Reply.h"

namespace TestApp {

/// Writes a file and reads it back. The reply carries the result code of IOCTL::CFileTest::FileVerify. A path that
/// exists and is no regular file is a bad request: a pipe or a device could block forever.
///
/// A file below "/mnt/usb" is on the USB disk, which is mounted there for the check: the first of "/dev/sda" to
/// "/dev/sdc" that mounts, whole or by its first partition, as vfat. Without one the result code is 1. Whatever else is
/// mounted there is unmounted. Needs CAP_SYS_ADMIN.
Reply CheckFile(const std::string& path);

}  // namespace TestApp
