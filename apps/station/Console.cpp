// What the person at the station sees and answers.
#include "apps/station/Console.h"

#include <cstdlib>
#include <iostream>
#include <utility>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "apps/station/report/Text.h"

namespace Station {

namespace {

constexpr int PLAIN_INTERVAL = 10;  // seconds
constexpr int KEY_WAIT_MS = 100;    // between two looks at the stop flag
constexpr int ESCAPE_WAIT_MS = 50;  // a terminal sends Alt and the key at once, a person does not
constexpr int RED = 31;
constexpr int GREEN = 32;
constexpr int YELLOW = 33;

/// Keys one by one, without an echo, from construction to destruction; what was typed before is forgotten.
class Keys {
public:
    Keys()
    {
        m_isSet = tcgetattr(STDIN_FILENO, &m_former) == 0;
        termios keys = m_former;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        m_isSet = m_isSet && tcsetattr(STDIN_FILENO, TCSAFLUSH, &keys) == 0;
    }
    ~Keys()
    {
        if (m_isSet) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_former);
        }
    }
    Keys(const Keys&) = delete;
    Keys& operator=(const Keys&) = delete;

    /// The next byte; 0 when none comes in time, -1 when nobody can type any more.
    static int Next(int waitMs)
    {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, waitMs) <= 0) {
            return 0;
        }
        unsigned char byte = 0;
        return read(STDIN_FILENO, &byte, 1) == 1 ? byte : -1;
    }

private:
    termios m_former{};
    bool m_isSet;
};

}  // namespace

Console::Console(const std::atomic<bool>& stop)
    : m_stop(stop),
      m_isTerminal(isatty(STDERR_FILENO) != 0),
      m_hasOperator(m_isTerminal && isatty(STDIN_FILENO) != 0),
      m_hasColours(isatty(STDOUT_FILENO) != 0)
{
    const char* const noColour = std::getenv("NO_COLOR");
    m_hasColours = m_hasColours && (noColour == nullptr || *noColour == '\0');
}

void Console::Print(const std::string& line)
{
    ClearProgress();
    std::cout << line << std::endl;
}

void Console::Complain(const std::string& message)
{
    ClearProgress();
    std::cerr << "station: " << message << std::endl;
}

void Console::Tell(const std::string& task)
{
    if (m_isTerminal) {
        ClearProgress();
        std::cerr << task << std::endl;
    }
}

std::optional<bool> Console::Ask(const std::string& question)
{
    constexpr int ESCAPE = 0x1B;
    if (!m_hasOperator) {
        return std::nullopt;
    }
    ClearProgress();
    std::cerr << question << "  [Alt+Y yes, Alt+N no] " << std::flush;
    const Keys keys;
    std::optional<bool> answer;
    int key = 0;
    while (!answer && key >= 0 && !m_stop) {
        key = Keys::Next(KEY_WAIT_MS);
        if (key != ESCAPE) {
            continue;
        }
        key = Keys::Next(ESCAPE_WAIT_MS);
        if (key == 'y' || key == 'Y') {
            answer = true;
        } else if (key == 'n' || key == 'N') {
            answer = false;
        }
    }
    const char* const word = answer.value_or(false) ? "yes" : "no";
    std::cerr << (answer ? word : "") << std::endl;
    return answer;
}

void Console::OnBegin(const RunRecord& run)
{
    Print(run.planName + (run.planVersion.empty() ? "" : ", version " + run.planVersion) + ", on " + run.port +
          (run.unit.empty() ? "" : ", unit " + run.unit));
}

void Console::OnTraffic(const Traffic& entry)
{
    if (m_showsFrames) {
        Print(TrafficLine(entry));
    }
}

void Console::OnWait(const std::string& name, Seconds waited, Seconds limit)
{
    const auto seconds = static_cast<int>(waited.count());
    if (!m_isTerminal && (seconds == 0 || seconds % PLAIN_INTERVAL != 0)) {
        return;
    }
    std::string progress = name + ": " + std::to_string(seconds) + " of " + NumberText(limit.count()) + " s";
    if (progress == m_progress) {
        return;
    }
    ClearProgress();
    std::cerr << progress << (m_isTerminal ? "" : "\n") << std::flush;
    m_progress = std::move(progress);
}

void Console::OnJudged(const RunRecord& /*run*/, const CheckRecord& check)
{
    const bool isBad = check.result == Result::Fail || check.result == Result::Aborted;
    Print(Mark(ResultLine(check), Word(check.result), check.result == Result::Pass, isBad));
}

void Console::OnEnd(const RunRecord& run)
{
    const bool isBad = run.verdict == Verdict::Fail || run.verdict == Verdict::CouldNotRun;
    Print(Mark(SummaryLine(run), Word(run.verdict), run.verdict == Verdict::Pass, isBad));
}

/// Colours the word of the result, where there are colours.
std::string Console::Mark(std::string line, const std::string& word, bool isGood, bool isBad) const
{
    const std::size_t at = m_hasColours ? line.find(word) : std::string::npos;
    if (at != std::string::npos) {
        const int bad = isBad ? RED : YELLOW;
        line.replace(at, word.size(), "\033[1;" + std::to_string(isGood ? GREEN : bad) + 'm' + word + "\033[0m");
    }
    return line;
}

void Console::ClearProgress()
{
    if (m_isTerminal && !m_progress.empty()) {
        std::cerr << "\r\033[K" << std::flush;
    }
    m_progress.clear();
}

}  // namespace Station
