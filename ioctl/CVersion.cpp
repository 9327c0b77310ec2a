// The board's hardware version.
#include "ioctl/CVersion.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "common/internal/UniqueFd.h"
#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/DevStatus.h"

namespace IOCTL {

namespace {

constexpr int VERSION_BITS = 3;

}  // namespace

CVersion::CVersion() : m_logger(ClassLogger("CVersion")) {}

CVersion::~CVersion() = default;

int CVersion::GetHWVersion(unsigned char* version)
{
    Common::UniqueFd device(open(DEV_STATUS, O_RDWR));
    if (!device.IsValid()) {
        const int error = errno;
        m_logger.WriteError("[%s] open error: errno = %d: %s \n", "GetHWVersion", error, std::strerror(error));
        return -1;
    }
    DevStatusRecord record = {};
    ioctl(device.Get(), DEV_STATUS_HW_VERSION, record.data());
    for (unsigned char& byte : record) {
        byte &= 1;
    }
    m_logger.WriteDebug("[%s] HW Version 0 1 2 : %d %d %d \n\n", "GetHWVersion", record[0], record[1], record[2]);
    device.Close();
    std::copy_n(record.begin(), VERSION_BITS, version);
    return 0;
}

}  // namespace IOCTL
