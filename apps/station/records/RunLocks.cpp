// Tells the runs that are in progress from those that a killed station has left.
#include "apps/station/records/RunLocks.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Station {

namespace {

/// Of the byte that stands for a run.
struct flock LockOf(short type, Integer run)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(run);
    lock.l_len = 1;
    return lock;
}

}  // namespace

std::string LocksOf(const std::string& database)
{
    std::error_code error;
    const std::filesystem::path file = std::filesystem::weakly_canonical(database, error);
    if (error) {
        throw RecordError("cannot follow " + database + ": " + error.message());
    }
    return file.string() + "-running";
}

RunLocks::RunLocks(const std::string& file)
    : m_fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH))
{
    if (m_fd < 0) {
        throw RecordError("cannot open " + file + ": " + std::generic_category().message(errno));
    }
}

RunLocks::~RunLocks()
{
    close(m_fd);
}

bool RunLocks::Take(Integer run)
{
    return Set(F_WRLCK, run);
}

void RunLocks::Release(Integer run)
{
    Set(F_UNLCK, run);
}

bool RunLocks::IsTaken(const std::string& file, Integer run)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        return false;
    }
    struct flock lock = LockOf(F_WRLCK, run);
    const bool isTold = fd >= 0 && fcntl(fd, F_OFD_GETLK, &lock) == 0;
    const int error = errno;
    close(fd);
    if (!isTold) {
        throw RecordError("cannot read " + file + ": " + std::generic_category().message(error));
    }
    return lock.l_type != F_UNLCK;
}

bool RunLocks::Set(short type, Integer run)
{
    const struct flock lock = LockOf(type, run);
    return fcntl(m_fd, F_OFD_SETLK, &lock) == 0;
}

}  // namespace Station
