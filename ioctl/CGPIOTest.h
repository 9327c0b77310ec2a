// The check of the digital outputs and inputs.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Drives the digital outputs and reads the digital inputs through the status driver, "/dev/dev_status".
///
/// One object is used by one thread at a time. The destructor does not close a device that `OpenDev` left open.
class TESTMODE_API CGPIOTest {
public:
    CGPIOTest();
    virtual ~CGPIOTest();

    /// Opens the device unless it is open. 0, or -1 when it cannot be opened (logged).
    int OpenDev();
    /// Closes the device if it is open.
    void CloseDev();
    /// 0 when the device is open, -1 when not: not a boolean.
    int IsOpen();

    /// Hands the output pattern at `pattern` to the driver, which defines its layout and size, and closes the device. 0
    /// whether or not the driver took the pattern, or -1 when the device cannot be opened (logged).
    int CheckGPO(unsigned char* pattern);

    /// Has the driver write the input state to `state`, logs its first two bytes, and closes the device. The driver
    /// defines layout and size, which is at least 2 bytes. 0 whether or not the driver wrote the state, or -1 when the
    /// device cannot be opened (logged).
    int CheckGPI(unsigned char* state);

private:
    int m_nFd = -1;
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
