// Loading of 24-bit BMP files.
#pragma once

#include "common/CFileLogger.h"
#include "ioctl/CFBLib.h"

namespace IOCTL {

/// What `CFBLib::CreateBitmap` does; its lines go to `logger`.
int LoadBitmap(tBMP& bmp, char const* path, Common::Logger::CFileLogger& logger);

}  // namespace IOCTL
