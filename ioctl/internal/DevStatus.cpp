// The board's status driver: its device, its requests, and opening and closing it.
#include "ioctl/internal/DevStatus.h"

#include <fcntl.h>
#include <unistd.h>

namespace IOCTL {

int OpenDevStatus(int& fd, Common::Logger::CFileLogger& logger, const char* error)
{
    if (fd > 0) {
        return 0;
    }
    fd = open(DEV_STATUS, O_RDWR);
    if (fd >= 0) {
        return 0;
    }
    logger.WriteError("%s", error);
    return -1;
}

void CloseDevStatus(int& fd)
{
    if (fd > 0) {
        close(fd);
        fd = -1;
    }
}

}  // namespace IOCTL
