// The libc entry points for files and devices that the simulated board takes over; it passes on whatever it does not
// own.
#include <algorithm>
#include <cstdarg>
#include <cstdlib>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mount.h>
#include <termios.h>
#include <unistd.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/calls/Intercept.h"

namespace {

using OpenFunction = int(const char*, int, ...);

int Open(OpenFunction* next, const char* path, int flags, mode_t mode)
{
    const auto carryOut = [&](Sim::Limit /*limit*/) -> long {
        const std::string target = Sim::Redirected(path);
        Sim::Device* const device = Sim::FindDevice(target);
        return device != nullptr ? Sim::OpenDevice(*device, target, flags, mode) : next(target.c_str(), flags, mode);
    };
    return static_cast<int>(Sim::Intercept("open", -1, flags, carryOut, path));
}

mode_t Mode(int flags, std::va_list arguments)
{
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return hasMode ? va_arg(arguments, mode_t) : 0;
}

ssize_t Read(int fd, void* buffer, std::size_t size)
{
    return Sim::Intercept("read", fd, static_cast<long>(size), [&](Sim::Limit limit) -> long {
        const std::size_t most = std::min(size, limit.value_or(size));
        Sim::Device* const device = Sim::FindDevice(fd);
        if (device == nullptr) {
            return Sim::Real::Read(fd, buffer, most);
        }
        if (const int error = device->BeforeRead(fd); error != 0) {
            return Sim::Fail(-error);
        }
        const ssize_t count = Sim::Real::Read(fd, buffer, most);
        device->AfterRead(fd, static_cast<unsigned char*>(buffer),
                          static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count;
    });
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

int openat(int folder, const char* path, int flags, ...)
{
    static auto* const next = Sim::Next<int(int, const char*, int, ...)>("openat");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = Mode(flags, arguments);
    va_end(arguments);
    return path[0] == '/' ? open(path, flags, mode) : next(folder, path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = Mode(flags, arguments);
    va_end(arguments);
    return openat(folder, path, flags, mode);
}

int creat(const char* path, mode_t mode)
{
    return open(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int creat64(const char* path, mode_t mode)
{
    return creat(path, mode);
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
    return static_cast<int>(Sim::Intercept("close", fd, 0, [&](Sim::Limit /*limit*/) {
        Sim::Forget(fd);
        return Sim::Real::Close(fd);
    }));
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
    return Sim::Intercept("write", fd, static_cast<long>(size), [&](Sim::Limit limit) -> long {
        Sim::Device* const device = Sim::FindDevice(fd);
        const int error = device != nullptr ? device->BeforeWrite(fd) : 0;
        return error != 0 ? Sim::Fail(-error) : Sim::Real::Write(fd, buffer, std::min(size, limit.value_or(size)));
    });
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    static auto* const next = Sim::Next<off_t(int, off_t, int)>("lseek");
    return Sim::Intercept("lseek", fd, offset, [&](Sim::Limit /*limit*/) { return next(fd, offset, whence); });
}

off64_t lseek64(int fd, off64_t offset, int whence) noexcept
{
    static auto* const next = Sim::Next<off64_t(int, off64_t, int)>("lseek64");
    return Sim::Intercept("lseek", fd, offset, [&](Sim::Limit /*limit*/) { return next(fd, offset, whence); });
}

int tcsetattr(int fd, int action, const termios* line) noexcept
{
    static auto* const next = Sim::Next<int(int, int, const termios*)>("tcsetattr");
    return static_cast<int>(Sim::Intercept("tcsetattr", fd, action, [&](Sim::Limit /*limit*/) {
        const int result = next(fd, action, line);
        if (result == 0) {
            Sim::LineApplied(fd, *line);
        }
        return result;
    }));
}

int tcflush(int fd, int queue) noexcept
{
    static auto* const next = Sim::Next<int(int, int)>("tcflush");
    return static_cast<int>(
        Sim::Intercept("tcflush", fd, queue, [&](Sim::Limit /*limit*/) { return next(fd, queue); }));
}

// Mounting never reaches the PC, whether the board is on or off.

int mount(const char* source, const char* target, const char* type, unsigned long flags, const void* /*data*/) noexcept
{
    return static_cast<int>(Sim::Intercept(
        "mount", -1, static_cast<long>(flags), [&](Sim::Limit /*limit*/) { return Sim::Mount(source, target, type); },
        std::string(source) + " " + target + " " + type));
}

int umount2(const char* target, int flags) noexcept
{
    return static_cast<int>(Sim::Intercept(
        "umount2", -1, flags, [&](Sim::Limit /*limit*/) { return Sim::Unmount(target); }, target));
}

int umount(const char* target) noexcept
{
    return umount2(target, 0);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) noexcept
{
    static auto* const next =
        Sim::Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    const long result = Sim::Intercept("pthread_create", -1, 0,
                                       [&](Sim::Limit /*limit*/) { return next(thread, attributes, body, argument); });
    return result == -1 ? errno : static_cast<int>(result);  // pthread_create returns its error number
}

}  // extern "C"
