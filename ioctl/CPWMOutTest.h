// The check of the PWM outputs.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Sets the PWM outputs through the status driver, "/dev/dev_status".
///
/// One object is used by one thread at a time. The destructor does not close a device that `OpenDev` left open.
class TESTMODE_API CPWMOutTest {
public:
    CPWMOutTest();
    virtual ~CPWMOutTest();

    /// Opens the device unless it is open. 0, or -1 when it cannot be opened (logged).
    int OpenDev();
    /// Closes the device if it is open.
    void CloseDev();
    /// 0 when the device is open, -1 when not: not a boolean.
    int IsOpen();

    /// Hands bits 0 and 1 of `setting` to the driver and closes the device. 0 whether or not the driver took them, or
    /// -1 when the device cannot be opened (logged).
    int CheckPWM(unsigned char setting);

private:
    int m_nFd = -1;
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
