// A file that is written whole or not at all.
#include "apps/station/report/ReportFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apps/station/Descriptor.h"

namespace Station {

ReportFile::ReportFile(std::string path, bool mayOverwrite) : m_path(std::move(path)), m_mayOverwrite(mayOverwrite)
{
    if (m_path.empty()) {
        return;
    }
    struct stat present {};
    if (stat(m_path.c_str(), &present) == 0 && (!S_ISREG(present.st_mode) || !m_mayOverwrite)) {
        Fail(S_ISREG(present.st_mode) ? "it holds another run; --overwrite replaces it" : "it is no regular file");
    }
    const Descriptor probe(OpenBeside());
    if (!probe.IsValid()) {
        Fail(std::generic_category().message(errno));
    }
    unlink(std::exchange(m_temporary, "").c_str());  // a station that is killed leaves nothing
}

ReportFile::~ReportFile()
{
    Discard();
}

void ReportFile::Prepare(const std::string& content)
{
    if (m_path.empty()) {
        return;
    }
    Prepare([&](int fd, const std::string& /*path*/) {
        std::size_t done = 0;
        while (done < content.size()) {
            const ssize_t count = write(fd, content.data() + done, content.size() - done);
            if (count >= 0) {
                done += static_cast<std::size_t>(count);
            } else if (errno != EINTR) {
                Fail(std::generic_category().message(errno));
            }
        }
    });
}

void ReportFile::Prepare(const std::function<void(int fd, const std::string& path)>& fill)
{
    Discard();
    const Descriptor file(OpenBeside());
    if (!file.IsValid()) {
        Fail(std::generic_category().message(errno));
    }
    fill(file.Get(), m_temporary);
    if (fsync(file.Get()) != 0) {
        Fail(std::generic_category().message(errno));
    }
    m_isPrepared = true;
}

void ReportFile::Publish()
{
    if (!m_isPrepared) {
        return;
    }
    m_isPrepared = false;
    const std::string complete = std::exchange(m_temporary, "");
    if (Rename(complete) != 0) {
        Fail((errno == EEXIST ? "another run has written it meanwhile" : std::generic_category().message(errno)) +
             "; this run's is in " + complete);
    }
    const std::string folder = std::filesystem::path(m_path).parent_path();
    const Descriptor entries(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!entries.IsValid() || (fsync(entries.Get()) != 0 && errno != EINVAL)) {  // no file system has to offer it
        Fail("its folder: " + std::generic_category().message(errno));
    }
}

void ReportFile::Discard()
{
    if (!m_temporary.empty()) {
        unlink(std::exchange(m_temporary, "").c_str());
    }
    m_isPrepared = false;
}

/// A new file beside the report's, with the rights of any new file. Negative, with errno, when there is none.
int ReportFile::OpenBeside()
{
    std::random_device random;
    int fd = -1;
    do {
        m_temporary = m_path + '.' + std::to_string(random());
        fd = open(m_temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, DEFFILEMODE);
    } while (fd < 0 && errno == EEXIST);
    return fd;
}

/// Gives the complete file its name; never replaces one that another run has made meanwhile.
int ReportFile::Rename(const std::string& complete) const
{
    if (m_mayOverwrite) {
        return rename(complete.c_str(), m_path.c_str());
    }
    int result = renameat2(AT_FDCWD, complete.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {  // a file system without this way has links
        result = link(complete.c_str(), m_path.c_str());
        if (result == 0) {
            unlink(complete.c_str());
        }
    }
    return result;
}

void ReportFile::Fail(const std::string& reason) const
{
    throw std::runtime_error("cannot write " + m_path + ": " + reason);
}

}  // namespace Station
