// What the person at the station sees: result lines on standard output, progress on standard error.
#include "apps/station/Console.h"

#include <iostream>
#include <utility>

#include <unistd.h>

namespace Station {

namespace {

constexpr int PLAIN_INTERVAL = 10;  // seconds

}  // namespace

Console::Console() : m_terminal(isatty(STDERR_FILENO) != 0) {}

void Console::Print(const std::string& line)
{
    ClearProgress();
    std::cout << line << std::endl;
}

void Console::Ask(const std::string& task)
{
    if (m_terminal) {
        ClearProgress();
        std::cerr << task << std::endl;
    }
}

void Console::Complain(const std::string& message)
{
    ClearProgress();
    std::cerr << "station: " << message << std::endl;
}

void Console::ShowProgress(const std::string& name, Seconds waited, Seconds limit)
{
    const auto seconds = static_cast<int>(waited.count());
    if (!m_terminal && (seconds == 0 || seconds % PLAIN_INTERVAL != 0)) {
        return;
    }
    std::string progress = name + ": waiting, " + std::to_string(seconds) + " of " +
                           std::to_string(static_cast<int>(limit.count())) + " s";
    if (progress == m_progress) {
        return;
    }
    ClearProgress();
    std::cerr << progress << (m_terminal ? "" : "\n") << std::flush;
    m_progress = std::move(progress);
}

void Console::ClearProgress()
{
    if (m_terminal && !m_progress.empty()) {
        std::cerr << "\r\033[K" << std::flush;
    }
    m_progress.clear();
}

}  // namespace Station
