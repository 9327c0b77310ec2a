// The system log of the simulated board.
#include <array>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <syslog.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"

namespace Sim {

namespace {

/// The log's connection belongs to the whole process, as in the C library: each call is atomic, a sequence of calls is
/// not.
class Log : public Device {
public:
    void Reset() override { Take(); }

    void Connect(const char* identity, int options, int facility);
    void Write(int priority, std::string text);
    void Disconnect();
    bool IsOpen();
    std::vector<LogLine> Take();
    void UseFile(const std::string& path);

private:
    // With the mutex held:
    void OpenFile();
    void WriteFile(const std::string& text) const;

    std::mutex m_mutex;
    bool m_isOpen = false;
    std::string m_identity;
    int m_options = 0;
    int m_facility = 0;
    std::vector<LogLine> m_lines;
    std::string m_path;  // the file for the lines; empty: they stay in memory
    int m_file = -1;
};

void Log::Connect(const char* identity, int options, int facility)
{
    const std::lock_guard lock(m_mutex);
    m_isOpen = true;
    m_identity = identity != nullptr ? identity : "";
    m_options = options;
    m_facility = facility;
    if ((options & LOG_NDELAY) != 0) {
        OpenFile();
    }
}

void Log::Write(int priority, std::string text)
{
    const std::lock_guard lock(m_mutex);
    if (!m_path.empty()) {
        OpenFile();
        WriteFile(text);
        return;
    }
    m_lines.push_back({m_identity, m_options, m_facility, priority, std::move(text)});
}

void Log::Disconnect()
{
    const std::lock_guard lock(m_mutex);
    m_isOpen = false;
    m_identity.clear();
    m_options = 0;
    m_facility = 0;
    if (m_file >= 0) {
        Real::Close(m_file);
        m_file = -1;
    }
}

bool Log::IsOpen()
{
    const std::lock_guard lock(m_mutex);
    return m_isOpen;
}

std::vector<LogLine> Log::Take()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_lines, {});
}

void Log::UseFile(const std::string& path)
{
    const std::lock_guard lock(m_mutex);
    m_path = path;
}

void Log::OpenFile()
{
    if (m_file < 0 && !m_path.empty()) {
        m_file = Real::Open(m_path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
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
    const std::string line = std::string(time.data()) + milliseconds.data() + " " + m_identity + ": " +
                             text.substr(0, end == std::string::npos ? 0 : end + 1) + "\n";
    if (Real::Write(m_file, line.data(), line.size()) < 0) {
        std::fprintf(stderr, "simboard: cannot write %s\n", m_path.c_str());
    }
}

Log& TheLog()
{
    static Log& log = *new Log;  // never destroyed: objects log until the very end of the process
    return log;
}

}  // namespace

Device& SystemLog()
{
    return TheLog();
}

void OpenLog(const char* identity, int options, int facility)
{
    TheLog().Connect(identity, options, facility);
}

void WriteLog(int priority, std::string text)
{
    TheLog().Write(priority, std::move(text));
}

void CloseLog()
{
    TheLog().Disconnect();
}

std::vector<LogLine> TakeLog()
{
    return TheLog().Take();
}

bool IsLogOpen()
{
    return TheLog().IsOpen();
}

void LogToFile(const std::string& path)
{
    TheLog().UseFile(path);
}

}  // namespace Sim
