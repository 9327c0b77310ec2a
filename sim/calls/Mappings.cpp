// The libc entry points for memory mappings. Other libraries call them before this one is set up.
#include <atomic>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/Real.h"
#include "sim/calls/Intercept.h"

namespace {

using MapFunction = void*(void*, std::size_t, int, int, int, off64_t);
using UnmapFunction = int(void*, std::size_t);

// Null until this library is set up: looking them up may allocate memory.
std::atomic<MapFunction*> g_map = nullptr;
std::atomic<UnmapFunction*> g_unmap = nullptr;

__attribute__((constructor)) void LookUp()
{
    Sim::IsWatching();  // allocates memory the first time
    g_map = Sim::Next<MapFunction>("mmap64");
    g_unmap = Sim::Next<UnmapFunction>("munmap");
}

void* MapEarly(void* address, std::size_t size, int protection, int flags, int fd, off64_t offset)
{
#ifdef SYS_mmap2
    const long result = syscall(SYS_mmap2, address, size, protection, flags, fd, offset / 4096);
#else
    const long result = syscall(SYS_mmap, address, size, protection, flags, fd, offset);
#endif
    return reinterpret_cast<void*>(result);  // NOLINT(performance-no-int-to-ptr): that is what the kernel gives
}

}  // namespace

extern "C" {

void* mmap64(void* address, std::size_t size, int protection, int flags, int fd, off64_t offset) noexcept
{
    auto* const next = g_map.load();
    if (next == nullptr) {
        return MapEarly(address, size, protection, flags, fd, offset);
    }
    void* mapping = MAP_FAILED;
    const long result = Sim::Intercept("mmap", fd, static_cast<long>(size), [&](Sim::Limit /*limit*/) {
        mapping = next(address, size, protection, flags, fd, offset);
        return mapping == MAP_FAILED ? -1 : 0;
    });
    return result < 0 ? MAP_FAILED : mapping;
}

void* mmap(void* address, std::size_t size, int protection, int flags, int fd, off_t offset) noexcept
{
    return mmap64(address, size, protection, flags, fd, offset);
}

int munmap(void* address, std::size_t size) noexcept
{
    auto* const next = g_unmap.load();
    if (next == nullptr) {
        return static_cast<int>(syscall(SYS_munmap, address, size));
    }
    return static_cast<int>(Sim::Intercept("munmap", -1, static_cast<long>(size),
                                           [&](Sim::Limit /*limit*/) { return next(address, size); }));
}

}  // extern "C"
