// The library's one diagnostic channel: lines in the system log.
#pragma once

#include <string>

#include "common/Export.h"

/// The system log.
namespace Common::Logger {

/// Writes lines to the system log under the name of its holder.
///
/// Each line opens the log with the identity, the options LOG_CONS | LOG_NDELAY and the facility LOG_USER, and closes
/// it again. Its priority is always LOG_DEBUG; "[D] ", "[W] " or "[E] " in front tells debug, warning and error lines
/// apart. A line is at most 4095 characters, prefix included; the rest is cut off. The logger adds no line end.
/// Failures are not reported, and `errno` is left as it was. Loggers may be used on several threads at once: a line
/// never appears under another logger's identity. Only `SetIdentity` must not overlap with other calls on the same
/// logger.
class TESTMODE_API CFileLogger {
public:
    /// A logger that writes everything; `name` as for `SetIdentity`.
    explicit CFileLogger(std::string name);
    virtual ~CFileLogger();

    /// Makes "[name]" the identity from the next line on; an empty name stands for "FileLogger".
    void SetIdentity(std::string name);

    /// One debug line, formatted as by printf.
    void WriteDebug(char const* format, ...) __attribute__((format(printf, 2, 3)));
    /// One warning line, formatted as by printf.
    void WriteWarning(char const* format, ...) __attribute__((format(printf, 2, 3)));
    /// One error line, formatted as by printf.
    void WriteError(char const* format, ...) __attribute__((format(printf, 2, 3)));

    /// Dumps `length` bytes as debug lines: the title, at most 16 bytes as upper-case hexadecimal digits, a newline.
    /// A null title stands for an empty one; a title is cut off after 4062 characters. A length of 0 writes the title
    /// and a newline, a negative length nothing.
    void WriteInfo(void* data, int length, char const* title);

private:
    std::string m_strIdentity;
    int m_nLevel = 7;  // LOG_DEBUG: everything is written
};

}  // namespace Common::Logger
