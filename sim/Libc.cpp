// The libc entry points that the simulated board takes over; it passes on whatever it does not own.
#include <algorithm>
#include <cstdarg>
#include <cstdlib>

#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "sim/Intercept.h"

namespace {

using OpenFunction = int(const char*, int, ...);

int Open(OpenFunction* next, const char* path, int flags, mode_t mode)
{
    return static_cast<int>(Sim::Intercept("open", -1, flags, [&](Sim::Limit /*limit*/) -> long {
        const auto device = Sim::OpenDevice(path, flags);
        return device ? *device : next(path, flags, mode);
    }));
}

mode_t Mode(int flags, std::va_list arguments)
{
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return hasMode ? va_arg(arguments, mode_t) : 0;
}

ssize_t Read(int fd, void* buffer, std::size_t size)
{
    static auto* const next = Sim::Next<ssize_t(int, void*, std::size_t)>("read");
    return Sim::Intercept("read", fd, static_cast<long>(size),
                          [&](Sim::Limit limit) { return next(fd, buffer, std::min(size, limit.value_or(size))); });
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...)
{
    static auto* const next = Sim::Next<OpenFunction>("open");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = Mode(flags, arguments);
    va_end(arguments);
    return Open(next, path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    static auto* const next = Sim::Next<OpenFunction>("open64");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = Mode(flags, arguments);
    va_end(arguments);
    return Open(next, path, flags, mode);
}

int __open_2(const char* path, int flags)
{
    return open(path, flags);
}

int __open64_2(const char* path, int flags)
{
    return open64(path, flags);
}

int close(int fd)
{
    static auto* const next = Sim::Next<int(int)>("close");
    return static_cast<int>(Sim::Intercept("close", fd, 0, [&](Sim::Limit /*limit*/) { return next(fd); }));
}

ssize_t read(int fd, void* buffer, std::size_t size)
{
    return Read(fd, buffer, size);
}

ssize_t __read_chk(int fd, void* buffer, std::size_t size, std::size_t room)
{
    if (size > room) {
        std::abort();
    }
    return Read(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, std::size_t size)
{
    static auto* const next = Sim::Next<ssize_t(int, const void*, std::size_t)>("write");
    return Sim::Intercept("write", fd, static_cast<long>(size),
                          [&](Sim::Limit limit) { return next(fd, buffer, std::min(size, limit.value_or(size))); });
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)
{
    static auto* const next = Sim::Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
    return static_cast<int>(Sim::Intercept("select", count, 0, [&](Sim::Limit /*limit*/) {
        return next(count, readable, writable, exceptional, timeout);
    }));
}

int tcsetattr(int fd, int action, const termios* line) noexcept
{
    static auto* const next = Sim::Next<int(int, int, const termios*)>("tcsetattr");
    Sim::KeepLine(*line);
    return static_cast<int>(
        Sim::Intercept("tcsetattr", fd, action, [&](Sim::Limit /*limit*/) { return next(fd, action, line); }));
}

int tcflush(int fd, int queue) noexcept
{
    static auto* const next = Sim::Next<int(int, int)>("tcflush");
    return static_cast<int>(
        Sim::Intercept("tcflush", fd, queue, [&](Sim::Limit /*limit*/) { return next(fd, queue); }));
}

}  // extern "C"
