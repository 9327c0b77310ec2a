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

bool IsOnDisk(const char* path)
{
    return std::strncmp(path, DISK_FOLDER, std::strlen(DISK_FOLDER)) == 0;
}

/// A stream whose reads and writes can be made to fail; for plain reading and writing only.
std::FILE* OpenCookie(const char* path, const char* mode)
{
    static auto* const next = Sim::Next<int(const char*, int, ...)>("open");
    const int flags = mode[0] == 'w' ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
    const int fd = next(Sim::Redirected(path).c_str(), flags, 0666);
    if (fd < 0) {
        return nullptr;
    }
    return fopencookie(new Cookie{fd, IsOnDisk(path)}, mode, {ReadFile, WriteFile, nullptr, CloseFile});
}

std::FILE* OpenFile(OpenStream* next, const char* path, const char* mode)
{
    const bool isPlain = (mode[0] == 'r' || mode[0] == 'w') && std::strpbrk(mode, "+x") == nullptr;
    if (IsOnDisk(path) && (mode[0] != 'r' || !isPlain) && Sim::HasFault("disk-read-only")) {
        errno = EROFS;
        return nullptr;
    }
    const bool isBroken = IsOnDisk(path) && (Sim::HasFault("disk-full") || Sim::HasFault("disk-corrupt"));
    if (isPlain && (isBroken || Sim::IsWatching())) {
        return OpenCookie(path, mode);
    }
    if (Sim::IsNode(path)) {
        const int fd = open(path, isPlain ? (mode[0] == 'r' ? O_RDONLY : O_WRONLY) : O_RDWR);
        return fd < 0 ? nullptr : fdopen(fd, mode);
    }
    return next(Sim::Redirected(path).c_str(), mode);
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

}  // extern "C"
