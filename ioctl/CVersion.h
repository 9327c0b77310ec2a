// The board's hardware version.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Reads the hardware version through the status driver, "/dev/dev_status". Calls may run on several threads at once.
class TESTMODE_API CVersion {
public:
    CVersion();
    virtual ~CVersion();

    /// Writes the version bits 0, 1 and 2 to the bytes 0, 1 and 2 of `version`, each as 0 or 1. 0, or -1 when the
    /// device cannot be opened (logged; `version` is unchanged). When the driver refuses the request, the bits are 0.
    int GetHWVersion(unsigned char* version);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
