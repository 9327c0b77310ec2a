// The logger of a class of hardware checks.
#pragma once

#include "common/CFileLogger.h"

namespace IOCTL {

/// A logger named after its class. It has already written the object's first line.
inline Common::Logger::CFileLogger ClassLogger(const char* name)
{
    Common::Logger::CFileLogger logger(name);
    logger.WriteDebug("[%s] Logger Start.", name);
    return logger;
}

}  // namespace IOCTL
