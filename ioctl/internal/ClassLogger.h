// The logger of a class of hardware checks.
#pragma once

#include "common/CFileLogger.h"

namespace IOCTL {

/// A logger named after its class, which has written the first line of an object.
inline Common::Logger::CFileLogger ClassLogger(const char* name)
{
    Common::Logger::CFileLogger logger(name);
    logger.WriteDebug("[%s] Logger Start.", name);
    return logger;
}

}  // namespace IOCTL
