// A file that is written whole or not at all.
#include "apps/station/report/ReportFile.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Station {

namespace {

/// Permissions that no new file gets. Asking for them lifts them for a moment, for the whole process: once, before
/// there are threads.
const mode_t WITHHELD = []() noexcept {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}();

}  // namespace

ReportFile::ReportFile(std::string path, bool mayOverwrite) : m_path(std::move(path)), m_mayOverwrite(mayOverwrite)
{
    if (m_path.empty()) {
        return;
    }
    struct stat present {};
    if (stat(m_path.c_str(), &present) == 0 && (!S_ISREG(present.st_mode) || !m_mayOverwrite)) {
        Fail(S_ISREG(present.st_mode) ? "it holds another run; --overwrite replaces it" : "it is no regular file");
    }
    m_temporary = m_path + ".XXXXXX";
    m_file.emplace(mkostemp(m_temporary.data(), O_CLOEXEC));
    if (!m_file->IsValid()) {
        const int error = errno;
        m_temporary.clear();
        Fail(std::generic_category().message(error));
    }
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
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(m_file->Get(), content.data() + done, content.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            Fail(std::generic_category().message(errno));
        }
    }
    Complete();
}

void ReportFile::Complete()
{
    fchmod(m_file->Get(), DEFFILEMODE & ~WITHHELD);  // mkostemp makes it the owner's alone
    if (fsync(m_file->Get()) != 0) {
        Fail(std::generic_category().message(errno));
    }
    const std::string complete = std::exchange(m_temporary, "");
    if (Rename(complete) != 0) {
        Fail((errno == EEXIST ? "another run has written it meanwhile" : std::generic_category().message(errno)) +
             "; this run's is in " + complete);
    }
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
