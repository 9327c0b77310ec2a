// The libc entry points for files opened as streams.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/calls/Intercept.h"

namespace {

using OpenStream = std::FILE*(const char*, const char*);

// The C library's streams bypass our `read` and `write`. A stream that must not do so gets these operations. Their
// cookie points to the descriptor.

int Descriptor(void* cookie)
{
    return *static_cast<int*>(cookie);
}

ssize_t ReadFile(void* cookie, char* buffer, std::size_t size)
{
    return read(Descriptor(cookie), buffer, size);
}

/// Returns the bytes written; fewer than `size` are an error.
ssize_t WriteFile(void* cookie, const char* buffer, std::size_t size)
{
    return std::max<ssize_t>(write(Descriptor(cookie), buffer, size), 0);
}

int Seek(void* cookie, off64_t* offset, int whence)
{
    static auto* const next = Sim::Next<off64_t(int, off64_t, int)>("lseek64");
    *offset = next(Descriptor(cookie), *offset, whence);
    return *offset < 0 ? -1 : 0;
}

int CloseFile(void* cookie)
{
    const int result = close(Descriptor(cookie));
    delete static_cast<int*>(cookie);
    return result;
}

/// The flags of `open` for a mode of `fopen`.
int Flags(const char* mode)
{
    const auto has = [&](char letter) { return std::strchr(mode, letter) != nullptr; };
    int flags = has('e') ? O_CLOEXEC : 0;
    if (mode[0] == 'r') {
        return flags | (has('+') ? O_RDWR : O_RDONLY);
    }
    flags |= O_CREAT | (has('+') ? O_RDWR : O_WRONLY) | (has('x') ? O_EXCL : 0);
    return flags | (mode[0] == 'a' ? O_APPEND : O_TRUNC);
}

int OpenDescriptor(Sim::Device* device, const std::string& path, int flags)
{
    constexpr mode_t ALL = 0666;
    if (device != nullptr) {
        return Sim::OpenDevice(*device, path, flags, ALL);
    }
    const int fd = Sim::Real::Open(path, flags, ALL);
    return fd < 0 ? Sim::Fail(-fd) : fd;
}

std::FILE* OpenFile(OpenStream* next, const char* path, const char* mode)
{
    const std::string target = Sim::Redirected(path);
    Sim::Device* const device = Sim::FindDevice(target);
    const bool isWatched = Sim::IsWatching() || (device != nullptr && device->HandlesBytes());
    if (device == nullptr && !isWatched) {
        return next(target.c_str(), mode);
    }
    const int fd = OpenDescriptor(device, target, Flags(mode));
    if (fd < 0) {
        return nullptr;
    }
    return isWatched ? fopencookie(new int(fd), mode, {ReadFile, WriteFile, Seek, CloseFile}) : fdopen(fd, mode);
}

std::FILE* Open(OpenStream* next, const char* path, const char* mode)
{
    std::FILE* file = nullptr;
    const long result = Sim::Intercept(
        "fopen", -1, 0,
        [&](Sim::Limit /*limit*/) {
            file = OpenFile(next, path, mode);
            return file == nullptr ? -1 : 0;
        },
        path);
    return result < 0 ? nullptr : file;
}

}  // namespace

extern "C" {

std::FILE* fopen(const char* path, const char* mode)
{
    static auto* const next = Sim::Next<OpenStream>("fopen");
    return Open(next, path, mode);
}

std::FILE* fopen64(const char* path, const char* mode)
{
    static auto* const next = Sim::Next<OpenStream>("fopen64");
    return Open(next, path, mode);
}

/// The C library closes the descriptor without our `close`, which forgets its owner.
int fclose(std::FILE* file)
{
    static auto* const next = Sim::Next<int(std::FILE*)>("fclose");
    Sim::Forget(fileno(file));  // fileno is -1 for a stream with our operations, which call `close`
    return next(file);
}

}  // extern "C"
