// The system log of the simulated board.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "sim/Intercept.h"

namespace Sim {

namespace {

/// The log's connection belongs to the whole process, as in the C library: each call is atomic, a sequence of calls is
/// not.
struct Log {
    std::mutex mutex;
    bool isOpen = false;
    std::string identity;
    int options = 0;
    int facility = 0;
    std::vector<LogLine> lines;
    std::string path;  // of the file that takes the lines; empty keeps them in memory
    int file = -1;

    void Open(const char* newIdentity, int newOptions, int newFacility);
    void Write(int priority, std::string text);
    void Close();
    void OpenFile();
    void WriteFile(const std::string& text) const;
};

Log& TheLog()
{
    static Log& log = *new Log;  // never destroyed: objects log until the very end of the process
    return log;
}

void Log::Open(const char* newIdentity, int newOptions, int newFacility)
{
    isOpen = true;
    identity = newIdentity != nullptr ? newIdentity : "";
    options = newOptions;
    facility = newFacility;
    if ((options & LOG_NDELAY) != 0) {
        OpenFile();
    }
}

void Log::Write(int priority, std::string text)
{
    if (!path.empty()) {
        OpenFile();
        WriteFile(text);
        return;
    }
    lines.push_back({identity, options, facility, priority, std::move(text)});
}

void Log::Close()
{
    isOpen = false;
    identity.clear();
    options = 0;
    facility = 0;
    if (file >= 0) {
        static auto* const next = Next<int(int)>("close");
        next(file);
        file = -1;
    }
}

void Log::OpenFile()
{
    if (file < 0 && !path.empty()) {
        static auto* const next = Next<int(const char*, int, ...)>("open");
        file = next(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    }
}

/// One line in the file: the time, the identity, and the text with its line ends taken off.
void Log::WriteFile(const std::string& text) const
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 32> time = {};
    std::strftime(time.data(), time.size(), "%F %T", &local);
    std::array<char, 8> milliseconds = {};
    std::snprintf(milliseconds.data(), milliseconds.size(), ".%03d", static_cast<int>(now.tv_nsec / 1000000));

    const std::size_t end = text.find_last_not_of('\n');
    const std::string line = std::string(time.data()) + milliseconds.data() + " " + identity + ": " +
                             text.substr(0, end == std::string::npos ? 0 : end + 1) + "\n";
    static auto* const next = Next<ssize_t(int, const void*, std::size_t)>("write");
    if (next(file, line.data(), line.size()) < 0) {
        std::fprintf(stderr, "simboard: cannot write %s\n", path.c_str());
    }
}

std::string Format(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

void Write(int priority, const char* format, std::va_list arguments)
{
    std::string text = Format(format, arguments);
    const std::lock_guard lock(TheLog().mutex);
    TheLog().Write(priority, std::move(text));
}

}  // namespace

std::vector<LogLine> TakeLog()
{
    const std::lock_guard lock(TheLog().mutex);
    return std::exchange(TheLog().lines, {});
}

bool IsLogOpen()
{
    const std::lock_guard lock(TheLog().mutex);
    return TheLog().isOpen;
}

void LogToFile(const std::string& path)
{
    const std::lock_guard lock(TheLog().mutex);
    TheLog().path = path;
}

}  // namespace Sim

extern "C" {

void openlog(const char* identity, int options, int facility)
{
    const std::lock_guard lock(Sim::TheLog().mutex);
    Sim::TheLog().Open(identity, options, facility);
}

void closelog()
{
    const std::lock_guard lock(Sim::TheLog().mutex);
    Sim::TheLog().Close();
}

void vsyslog(int priority, const char* format, va_list arguments)
{
    Sim::Write(priority, format, arguments);
}

void syslog(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    Sim::Write(priority, format, arguments);
    va_end(arguments);
}

void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments)
{
    Sim::Write(priority, format, arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    Sim::Write(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
