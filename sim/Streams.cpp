// The libc entry points for files opened as streams: those below /mnt/usb/ are on the simulated board's disk.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"

namespace {

using OpenStream = std::FILE*(const char*, const char*);

constexpr const char* DISK_FOLDER = "/mnt/usb/";

/// A file behind a stream. The C library's own streams read and write past the entry points that know faults.
struct Cookie {
    int fd;
    bool isOnDisk;
};

ssize_t ReadFile(void* cookie, char* buffer, std::size_t size)
{
    const auto& file = *static_cast<Cookie*>(cookie);
    const ssize_t count = read(file.fd, buffer, size);
    if (count > 0 && file.isOnDisk && Sim::HasFault("disk-corrupt")) {
        buffer[count / 2] = static_cast<char>(buffer[count / 2] ^ 1);
    }
    return count;
}

/// The bytes written; fewer than `size` are an error.
ssize_t WriteFile(void* cookie, const char* buffer, std::size_t size)
{
    const auto& file = *static_cast<Cookie*>(cookie);
    if (file.isOnDisk && Sim::HasFault("disk-full")) {
        errno = ENOSPC;
        return 0;
    }
    return std::max<ssize_t>(write(file.fd, buffer, size), 0);
}

int CloseFile(void* cookie)
{
    const auto* const file = static_cast<Cookie*>(cookie);
    const int result = close(file->fd);
    delete file;
    return result;
}

std::FILE* OpenFile(const char* path, const char* mode)
{
    const bool isOnDisk = std::strncmp(path, DISK_FOLDER, std::strlen(DISK_FOLDER)) == 0;
    const bool isWritten = mode[0] == 'w';
    if (isOnDisk && isWritten && Sim::HasFault("disk-read-only")) {
        errno = EROFS;
        return nullptr;
    }
    static auto* const next = Sim::Next<int(const char*, int, ...)>("open");
    const int flags = isWritten ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
    const int fd = next(Sim::Redirected(path).c_str(), flags, 0666);
    if (fd < 0) {
        return nullptr;
    }
    return fopencookie(new Cookie{fd, isOnDisk}, mode, {ReadFile, WriteFile, nullptr, CloseFile});
}

std::FILE* Open(OpenStream* next, const char* path, const char* mode)
{
    const bool isPlain = (mode[0] == 'r' || mode[0] == 'w') && std::strchr(mode, '+') == nullptr;
    if (!isPlain || (!Sim::IsWatching() && Sim::Redirected(path) == path)) {
        return next(path, mode);
    }
    std::FILE* file = nullptr;
    const long result = Sim::Intercept(
        "fopen", -1, 0,
        [&](Sim::Limit /*limit*/) {
            file = OpenFile(path, mode);
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

}  // extern "C"
