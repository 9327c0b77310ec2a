// The libc entry points that examine a path, or create, remove or rename what it names.
#include "sim/calls/Paths.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "sim/Board.h"

namespace Sim {

std::string Behind(const std::string& path)
{
    const std::string target = Redirected(path);
    const Device* const device = FindDevice(target);
    return device != nullptr ? device->Behind(target) : target;
}

}  // namespace Sim

namespace {

/// True when what the path names may be created, removed or renamed; otherwise false, with `errno`.
bool MayChange(const char* path)
{
    const std::string target = Sim::Redirected(path);
    const Sim::Device* const device = Sim::FindDevice(target);
    return device == nullptr || Sim::Fail(-device->BeforeChange(target)) == 0;
}

}  // namespace

extern "C" {

int statx(int folder, const char* path, int flags, unsigned int mask, struct statx* status) noexcept
{
    return Sim::AskAt("statx", folder, path, flags, mask, status);
}

int access(const char* path, int mode) noexcept
{
    return Sim::Ask<int>("access", path, mode);
}

int faccessat(int folder, const char* path, int mode, int flags) noexcept
{
    return Sim::AskAt("faccessat", folder, path, mode, flags);
}

/// A device's path contains no links.
char* realpath(const char* path, char* resolved) noexcept
{
    static auto* const next = Sim::Next<char*(const char*, char*)>("realpath");
    const std::string target = Sim::Redirected(path);
    if (Sim::FindDevice(target) == nullptr) {
        return next(target.c_str(), resolved);
    }
    if (access(target.c_str(), F_OK) != 0) {
        return nullptr;
    }
    const std::string normal = std::filesystem::path(target).lexically_normal();
    return resolved == nullptr ? strdup(normal.c_str())
                               : static_cast<char*>(std::memcpy(resolved, normal.c_str(), normal.size() + 1));
}

char* __realpath_chk(const char* path, char* resolved, size_t /*room*/)
{
    return realpath(path, resolved);
}

ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept
{
    return Sim::Ask<ssize_t>("getxattr", path, name, value, size);
}

ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept
{
    return Sim::Ask<ssize_t>("lgetxattr", path, name, value, size);
}

DIR* opendir(const char* path)
{
    return Sim::Ask<DIR*>("opendir", path);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    return MayChange(path) ? Sim::Ask<int>("mkdir", path, mode) : -1;
}

int rmdir(const char* path) noexcept
{
    return MayChange(path) ? Sim::Ask<int>("rmdir", path) : -1;
}

int unlink(const char* path) noexcept
{
    return MayChange(path) ? Sim::Ask<int>("unlink", path) : -1;
}

int unlinkat(int folder, const char* path, int flags) noexcept
{
    return MayChange(path) ? Sim::AskAt("unlinkat", folder, path, flags) : -1;
}

int remove(const char* path) noexcept
{
    return MayChange(path) ? Sim::Ask<int>("remove", path) : -1;
}

int rename(const char* from, const char* to) noexcept
{
    return MayChange(from) && MayChange(to) ? Sim::Ask<int>("rename", from, Sim::Behind(to).c_str()) : -1;
}

}  // extern "C"
