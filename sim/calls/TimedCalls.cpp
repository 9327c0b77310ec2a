// The libc entry points whose records may hold a time, which the simulated board takes over. A 32-bit C library has
// each of them twice, for records with 32 bits and with 64 bits of time: there this source is compiled for both.
#include <cstdarg>
#include <cstring>

#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/calls/Intercept.h"
#include "sim/calls/Paths.h"

namespace {

#ifdef SIM_SECOND_TIME64
constexpr const char* IOCTL = "__ioctl_time64";
constexpr const char* SELECT = "__select64";
constexpr const char* SETSOCKOPT = "__setsockopt64";
constexpr const char* STAT = "__stat64_time64";
constexpr const char* LSTAT = "__lstat64_time64";
constexpr const char* FSTATAT = "__fstatat64_time64";
#else
constexpr const char* IOCTL = "ioctl";
constexpr const char* SELECT = "select";
constexpr const char* SETSOCKOPT = "setsockopt";
constexpr const char* STAT = "stat";
constexpr const char* LSTAT = "lstat";
constexpr const char* FSTATAT = "fstatat";
#endif

std::chrono::microseconds Duration(const timeval& time)
{
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

long Request(int fd, unsigned long request, void* argument)
{
    static auto* const next = Sim::Next<int(int, unsigned long, ...)>(IOCTL);
    Sim::Device* const device = Sim::FindDevice(fd);
    if (device == nullptr) {
        return Sim::FinishRequest(request, argument, next(fd, request, argument));
    }
    const auto result = device->Request(request, argument);
    if (!result) {
        return next(fd, request, argument);
    }
    return *result < 0 ? Sim::Fail(-*result) : *result;
}

}  // namespace

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return static_cast<int>(Sim::Intercept("ioctl", fd, static_cast<std::int64_t>(request),
                                           [&](Sim::Limit /*limit*/) { return Request(fd, request, argument); }));
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)
{
    static auto* const next = Sim::Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>(SELECT);
    return static_cast<int>(Sim::Intercept("select", count, 0, [&](Sim::Limit /*limit*/) {
        return next(count, readable, writable, exceptional, timeout);
    }));
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t size) noexcept
{
    static auto* const next = Sim::Next<int(int, int, int, const void*, socklen_t)>(SETSOCKOPT);
    return static_cast<int>(Sim::Intercept("setsockopt", fd, option, [&](Sim::Limit /*limit*/) -> long {
        timeval timeout = {};
        if (level == SOL_SOCKET && option == SO_RCVTIMEO && size == sizeof timeout) {
            std::memcpy(&timeout, value, sizeof timeout);
            if (Sim::SetReceiveTimeout(fd, Duration(timeout))) {
                return 0;
            }
        }
        return next(fd, level, option, value, size);
    }));
}

/// Setting the clock never reaches the PC, whether the board is on or off.
int settimeofday(const timeval* time, const struct timezone* /*zone*/) noexcept
{
    return static_cast<int>(Sim::Intercept("settimeofday", -1, 0, [&](Sim::Limit /*limit*/) {
        return time == nullptr ? Sim::Fail(EPERM) : Sim::SetClock(Duration(*time));
    }));
}

int stat(const char* path, struct stat* status) noexcept
{
    return Sim::Ask<int>(STAT, path, status);
}

int lstat(const char* path, struct stat* status) noexcept
{
    return Sim::Ask<int>(LSTAT, path, status);
}

int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept
{
    return Sim::AskAt(FSTATAT, folder, path, status, flags);
}

#ifndef SIM_SECOND_TIME64
int stat64(const char* path, struct stat64* status) noexcept
{
    return Sim::Ask<int>("stat64", path, status);
}

int lstat64(const char* path, struct stat64* status) noexcept
{
    return Sim::Ask<int>("lstat64", path, status);
}

int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept
{
    return Sim::AskAt("fstatat64", folder, path, status, flags);
}
#endif

}  // extern "C"
