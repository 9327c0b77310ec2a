// The check of the digital outputs and inputs.
#include "ioctl/CGPIOTest.h"

#include <sys/ioctl.h>

#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/DevStatus.h"

namespace IOCTL {

CGPIOTest::CGPIOTest() : m_logger(ClassLogger("CGPIOTest")) {}

CGPIOTest::~CGPIOTest() = default;

int CGPIOTest::OpenDev()
{
    return OpenDevStatus(m_nFd, m_logger, "[GPI] /dev/dev_status open error");
}

void CGPIOTest::CloseDev()
{
    CloseDevStatus(m_nFd);
}

int CGPIOTest::IsOpen()
{
    return m_nFd > 0 ? 0 : -1;
}

int CGPIOTest::CheckGPO(unsigned char* pattern)
{
    if (OpenDev() < 0) {
        return -1;
    }
    ioctl(m_nFd, DEV_STATUS_GPO, pattern);
    CloseDev();
    return 0;
}

int CGPIOTest::CheckGPI(unsigned char* state)
{
    if (OpenDev() < 0) {
        return -1;
    }
    ioctl(m_nFd, DEV_STATUS_GPI, state);
    m_logger.WriteDebug("Total : %0X / %0X\n\n", static_cast<unsigned int>(state[0]),
                        static_cast<unsigned int>(state[1]));
    CloseDev();
    return 0;
}

}  // namespace IOCTL
