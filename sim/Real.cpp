// The system behind the simulated board: the C library's own functions, or a sanitizer's.
#include "sim/Real.h"

#include <cerrno>

namespace Sim {

int Fail(int error)
{
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}

namespace Real {

int Open(const std::string& path, int flags, mode_t mode)
{
    static auto* const next = Next<int(const char*, int, ...)>("open64");
    const int fd = next(path.c_str(), flags, mode);
    return fd < 0 ? -errno : fd;
}

int Close(int fd)
{
    static auto* const next = Next<int(int)>("close");
    return next(fd);
}

ssize_t Read(int fd, void* buffer, std::size_t size)
{
    static auto* const next = Next<ssize_t(int, void*, std::size_t)>("read");
    return next(fd, buffer, size);
}

ssize_t Write(int fd, const void* buffer, std::size_t size)
{
    static auto* const next = Next<ssize_t(int, const void*, std::size_t)>("write");
    return next(fd, buffer, size);
}

}  // namespace Real

}  // namespace Sim
