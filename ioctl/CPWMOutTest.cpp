// The check of the PWM outputs.
#include "ioctl/CPWMOutTest.h"

#include <sys/ioctl.h>

#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/DevStatus.h"

namespace IOCTL {

namespace {

constexpr unsigned char SETTING_BITS = 0x03;

}  // namespace

CPWMOutTest::CPWMOutTest() : m_logger(ClassLogger("CPWMOutTest")) {}

CPWMOutTest::~CPWMOutTest() = default;

int CPWMOutTest::OpenDev()
{
    return OpenDevStatus(m_nFd, m_logger, "[PWM] /dev/dev_status open error\n");
}

void CPWMOutTest::CloseDev()
{
    CloseDevStatus(m_nFd);
}

int CPWMOutTest::IsOpen()
{
    return m_nFd > 0 ? 0 : -1;
}

int CPWMOutTest::CheckPWM(unsigned char setting)
{
    if (OpenDev() < 0) {
        return -1;
    }
    DevStatusRecord record = {static_cast<unsigned char>(setting & SETTING_BITS)};
    ioctl(m_nFd, DEV_STATUS_PWM, record.data());
    CloseDev();
    return 0;
}

}  // namespace IOCTL
