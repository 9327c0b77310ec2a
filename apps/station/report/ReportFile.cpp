// A file that is written whole or not at all.
#include "apps/station/report/ReportFile.h"

#include <cerrno>
#include <cstdio>
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
    if (!m_temporary.empty()) {
        unlink(m_temporary.c_str());
    }
}

void ReportFile::Write(const std::string& content)
{
    if (m_path.empty()) {
        return;
    }
    Fill([&](int fd, const std::string& /*path*/) {
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

void ReportFile::Fill(const std::function<void(int fd, const std::string& path)>& fill)
{
    const Descriptor file(OpenBeside());
    if (!file.IsValid()) {
        Fail(std::generic_category().message(errno));
    }
    fill(file.Get(), m_temporary);
    if (fsync(file.Get()) != 0) {
        Fail(std::generic_category().message(errno));
    }
    const std::string complete = std::exchange(m_temporary, "");
    if (Rename(complete) != 0) {
        Fail((errno == EEXIST ? "another run has written it meanwhile" : std::generic_category().message(errno)) +
             "; this run's is in " + complete);
    }
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
