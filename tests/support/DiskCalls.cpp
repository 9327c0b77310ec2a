// Loaded before a program: notes in which order it writes to the disk, to the terminal and to serial lines, and lets
// one call to the disk fail.
//   DISK_CALLS_FOLDER  whose files are the disk
//   DISK_CALLS_LOG     file that gets a line for each call: "write NAME" and "sync NAME" when they have returned,
//   "line" for
//                      the standard output and "frame" for a serial line before they begin; "failed" for one that fails
//   DISK_CALLS_FAIL    number of the call to the disk that fails, 1 for the first
//   DISK_CALLS_HOW     "once" fails that call, "on" also all that follow, "short" writes half of it and fails the rest,
//                      "kill" ends the program there and then
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// The function of that name behind this library.
template <class Function>
Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

void Note(const std::string& event)
{
    static const int log =
        open(Variable("DISK_CALLS_LOG").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    static auto* const real = Real<decltype(write)>("write");
    const std::string line = event + '\n';
    real(log, line.data(), line.size());
}

/// The file's name, when it is on the disk that is watched.
std::string NameOnDisk(int fd)
{
    char path[4096] = {};
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path - 1);
    const std::string folder = Variable("DISK_CALLS_FOLDER") + '/';
    return size > 0 && std::strncmp(path, folder.c_str(), folder.size()) == 0 ? path + folder.size() : "";
}

/// True when this call to the disk is the one to fail, or behind it.
bool Fails()
{
    static const long chosen = std::atol(Variable("DISK_CALLS_FAIL").c_str());
    static long count = 0;
    ++count;
    if (chosen > 0 && count == chosen) {
        Note("failed");
        if (Variable("DISK_CALLS_HOW") == "kill") {
            raise(SIGKILL);
        }
    }
    return chosen > 0 && (count == chosen || (count > chosen && Variable("DISK_CALLS_HOW") == "on"));
}

/// To the disk with `real`, which takes a buffer's size.
template <class Write>
ssize_t WriteToDisk(const std::string& name, std::size_t size, Write real)
{
    if (Fails()) {
        if (Variable("DISK_CALLS_HOW") == "short") {
            return real(size / 2);
        }
        errno = ENOSPC;
        return -1;
    }
    const ssize_t result = real(size);
    Note("write " + name);
    return result;
}

int Sync(int fd, const char* function)
{
    const std::string name = NameOnDisk(fd);
    if (!name.empty() && Fails()) {
        errno = EIO;
        return -1;
    }
    const int result = Real<int(int)>(function)(fd);
    if (!name.empty()) {
        Note("sync " + name);
    }
    return result;
}

}  // namespace

extern "C" {

ssize_t write(int fd, const void* buffer, size_t size)
{
    static auto* const real = Real<decltype(write)>("write");
    const std::string name = NameOnDisk(fd);
    if (name.empty()) {
        if (isatty(fd) != 0) {
            Note("frame");
        }
        return real(fd, buffer, size);
    }
    return WriteToDisk(name, size, [&](std::size_t part) { return real(fd, buffer, part); });
}

size_t fwrite(const void* buffer, size_t size, size_t count, FILE* stream)
{
    static auto* const real = Real<decltype(fwrite)>("fwrite");
    if (stream == stdout) {
        Note("line");
    }
    return real(buffer, size, count, stream);
}

ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset)
{
    static auto* const real = Real<decltype(pwrite64)>("pwrite64");
    const std::string name = NameOnDisk(fd);
    return name.empty() ? real(fd, buffer, size, offset)
                        : WriteToDisk(name, size, [&](std::size_t part) { return real(fd, buffer, part, offset); });
}

int fdatasync(int fd)
{
    return Sync(fd, "fdatasync");
}

int fsync(int fd)
{
    return Sync(fd, "fsync");
}
}
