// Pauses that signal handlers do not cut short.
#include "ioctl/internal/Pause.h"

#include <cerrno>
#include <chrono>

#include <unistd.h>

namespace IOCTL {

void PauseOneSecond()
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(1);
    bool isCut = true;
    while (isCut && Clock::now() < end) {
        errno = 0;
        const unsigned int left = sleep(1);
        isCut = left > 0 || errno == EINTR;  // sleep returns 0 when less than a second is left
    }
}

}  // namespace IOCTL
