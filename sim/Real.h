// The system behind the simulated board: the C library's own functions, or a sanitizer's.
#pragma once

#include <cstddef>
#include <string>

#include <dlfcn.h>
#include <sys/types.h>

namespace Sim {

/// The function `name` behind the simulated board.
template <class Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Sets `errno` to `error` and returns -1; for 0 only returns 0.
int Fail(int error);

// Calls that the simulated board makes for itself: neither recorded nor made to fail.
namespace Real {

/// A descriptor, or the negative error number.
int Open(const std::string& path, int flags, mode_t mode = 0);
int Close(int fd);
ssize_t Read(int fd, void* buffer, std::size_t size);
ssize_t Write(int fd, const void* buffer, std::size_t size);

}  // namespace Real

}  // namespace Sim
