// The libc entry points for the system log.
#include <cstdarg>
#include <cstdio>
#include <string>

#include <syslog.h>

#include "sim/Board.h"

namespace {

void Write(int priority, const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    Sim::WriteLog(priority, std::move(text));
}

}  // namespace

extern "C" {

void openlog(const char* identity, int options, int facility)
{
    Sim::OpenLog(identity, options, facility);
}

void closelog()
{
    Sim::CloseLog();
}

void vsyslog(int priority, const char* format, va_list arguments)
{
    Write(priority, format, arguments);
}

void syslog(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    Write(priority, format, arguments);
    va_end(arguments);
}

void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments)
{
    Write(priority, format, arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    Write(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
