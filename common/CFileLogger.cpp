// The library's one diagnostic channel: lines in the system log.
#include "common/CFileLogger.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <syslog.h>

namespace Common::Logger {

namespace {

constexpr std::size_t LINE_SIZE = 4096;
constexpr std::size_t BYTES_PER_ROW = 16;
// A row is a title, its digits, a newline and the terminating zero.
constexpr std::size_t MAX_TITLE = LINE_SIZE - 2 * BYTES_PER_ROW - 2;

// The connection to the system log belongs to the process: the lock spans open, write and close of a line.
std::mutex& LogMutex()
{
    static std::mutex mutex;
    return mutex;
}

void WriteLine(const std::string& identity, const char* prefix, const char* format, std::va_list arguments)
{
    const int callersErrno = errno;
    char line[LINE_SIZE] = {};
    const std::string start(prefix);
    start.copy(line, start.size());
    std::vsnprintf(line + start.size(), sizeof line - start.size(), format, arguments);
    {
        const std::lock_guard lock(LogMutex());
        openlog(identity.c_str(), LOG_CONS | LOG_NDELAY, LOG_USER);
        syslog(LOG_DEBUG, "%s", line);
        closelog();
    }
    errno = callersErrno;
}

}  // namespace

CFileLogger::CFileLogger(std::string name)
{
    SetIdentity(name);
}

CFileLogger::~CFileLogger() = default;

void CFileLogger::SetIdentity(std::string name)
{
    m_strIdentity = "[" + (name.empty() ? "FileLogger" : name) + "]";
}

void CFileLogger::WriteDebug(char const* format, ...)
{
    if (m_nLevel < LOG_DEBUG) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    WriteLine(m_strIdentity, "[D] ", format, arguments);
    va_end(arguments);
}

void CFileLogger::WriteWarning(char const* format, ...)
{
    if (m_nLevel < LOG_WARNING) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    WriteLine(m_strIdentity, "[W] ", format, arguments);
    va_end(arguments);
}

void CFileLogger::WriteError(char const* format, ...)
{
    if (m_nLevel < LOG_ERR) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    WriteLine(m_strIdentity, "[E] ", format, arguments);
    va_end(arguments);
}

void CFileLogger::WriteInfo(void* data, int length, char const* title)
{
    const std::size_t titleLength = title == nullptr ? 0 : strnlen(title, MAX_TITLE);
    if (length == 0) {
        WriteDebug("%.*s\n", static_cast<int>(titleLength), title == nullptr ? "" : title);
    }
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::size_t count = length < 0 ? 0 : static_cast<std::size_t>(length);
    char row[LINE_SIZE] = {};
    std::copy_n(title, titleLength, row);
    for (std::size_t start = 0; start < count; start += BYTES_PER_ROW) {
        const std::size_t end = std::min(start + BYTES_PER_ROW, count);
        char* position = row + titleLength;
        for (std::size_t i = start; i < end; ++i) {
            position += std::snprintf(position, 3, "%02X", bytes[i]);
        }
        *position++ = '\n';
        *position = '\0';
        WriteDebug("%s", row);
    }
}

}  // namespace Common::Logger
