// What the person at the station sees and answers.
#include "apps/station/Console.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "apps/station/report/Text.h"
#include "apps/station/terminal/BigWords.h"

namespace Station {

namespace {

constexpr int PLAIN_INTERVAL = 10;                       // seconds
constexpr std::chrono::milliseconds STOP_INTERVAL{100};  // between two looks at the stop flag
constexpr std::size_t MOST_LINE = 4096;                  // bytes that are kept of a line

bool HasColours(int stream)
{
    const char* const noColour = std::getenv("NO_COLOR");
    return isatty(stream) != 0 && (noColour == nullptr || *noColour == '\0');
}

int ColourOf(bool isGood, bool isBad)
{
    const int bad = isBad ? RED : YELLOW;
    return isGood ? GREEN : bad;
}

/// What a person reads from the other side of the room, by exit code.
BigWord ToBigWord(const std::string& caption, int exitCode)
{
    return {caption, ShortWord(exitCode), ColourOf(exitCode == 0, exitCode == 1)};
}

/// Takes the last character of a UTF-8 text away.
void EraseLast(std::string& text)
{
    bool isDone = text.empty();
    while (!isDone) {
        isDone = (static_cast<unsigned char>(text.back()) & 0xC0U) != 0x80U || text.size() == 1;
        text.pop_back();
    }
}

}  // namespace

Console::Console(const std::atomic<bool>& stop, const std::vector<std::string>& ports)
    : m_stop(stop),
      m_isTerminal(isatty(STDERR_FILENO) != 0),
      m_hasColours(HasColours(STDOUT_FILENO)),
      m_hasPanelColours(HasColours(STDERR_FILENO)),
      m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_hasOperator(m_isTerminal && isatty(STDIN_FILENO) != 0)
{
    if (m_wake < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    for (const std::string& port : ports) {
        m_views.push_back(std::make_unique<View>(*this, m_views.size() + 1, port, ports.size() == 1));
    }
}

Console::~Console()
{
    m_panel.Hide();
    close(m_wake);
}

std::vector<Viewer*> Console::Viewers()
{
    std::vector<Viewer*> viewers;
    std::transform(m_views.begin(), m_views.end(), std::back_inserter(viewers),
                   [](const auto& view) { return view.get(); });
    return viewers;
}

void Console::ReadLines()
{
    m_readsLines = true;
    m_keyboard.emplace(m_hasOperator);
}

Console::Typed Console::Await()
{
    std::array<pollfd, 2> watched = {{{m_wake, POLLIN, 0}, {m_keyboard ? STDIN_FILENO : -1, POLLIN, 0}}};
    poll(watched.data(), watched.size(), static_cast<int>(STOP_INTERVAL.count()));
    eventfd_t count = 0;
    eventfd_read(m_wake, &count);

    Typed typed;
    const std::vector<Key> keys = m_keyboard ? m_keyboard->Take() : std::vector<Key>();
    const std::lock_guard lock(m_mutex);
    std::for_each(keys.begin(), keys.end(), [&](const Key& key) { OnKey(key, typed); });
    ShowQuestions();
    return typed;
}

void Console::Wake() const
{
    eventfd_write(m_wake, 1);
}

void Console::Print(const std::string& line)
{
    const std::lock_guard lock(m_mutex);
    Write(std::cout, "", line);
}

void Console::Complain(const std::string& message)
{
    const std::lock_guard lock(m_mutex);
    Write(std::cerr, "", "station: " + Shown(message));
}

void Console::SetPrompt(const std::string& prompt)
{
    const std::lock_guard lock(m_mutex);
    m_prompt = prompt;
    Refresh();
}

void Console::OnKey(const Key& key, Typed& typed)
{
    switch (key.kind) {
    case Key::Kind::Character:
        m_line.append(m_readsLines && m_line.size() < MOST_LINE ? 1 : 0, key.character);
        break;
    case Key::Kind::Enter:
        typed.lines.push_back(std::exchange(m_line, ""));
        break;
    case Key::Kind::Backspace:
        EraseLast(m_line);
        break;
    case Key::Kind::Alt:
        OnAlt(key.character);
        break;
    case Key::Kind::Lost:
        m_hasOperator = false;
        m_onAnswer.notify_all();
        [[fallthrough]];
    case Key::Kind::End:
        if (!m_line.empty()) {  // a last line without an end
            typed.lines.push_back(std::exchange(m_line, ""));
        }
        m_readsLines = false;
        typed.isOver = true;
    }
}

void Console::OnAlt(char character)
{
    if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
        Choose(static_cast<std::size_t>(character - '0'));
    }
    const int key = std::tolower(static_cast<unsigned char>(character));
    const std::size_t number = m_views.size() == 1 ? 1 : m_chosen;
    if ((key == 'y' || key == 'n') && IsAsked(number)) {
        m_views[number - 1]->m_question->answer = key == 'y';
        m_chosen = m_digits = 0;  // nobody answers the next question by pressing a key twice
        m_onAnswer.notify_all();
    }
}

/// Numbers of two digits are typed one digit after the other.
void Console::Choose(std::size_t digit)
{
    constexpr std::size_t BASE = 10;
    m_digits = m_digits * BASE + digit;
    m_digits = m_digits > m_views.size() ? digit : m_digits;
    m_chosen = IsAsked(m_digits) ? m_digits : 0;
}

bool Console::IsAsked(std::size_t number) const
{
    if (number == 0 || number > m_views.size()) {
        return false;
    }
    const auto& question = m_views[number - 1]->m_question;
    return question && question->isShown && !question->answer;
}

/// The keyboard belongs to the station while there are questions, or lines to be read. All that was typed until now has
/// been taken.
void Console::ShowQuestions()
{
    const bool isAsked =
        std::any_of(m_views.begin(), m_views.end(), [](const auto& view) { return view->m_question.has_value(); });
    const bool isNeeded = m_readsLines || (isAsked && m_hasOperator);
    if (isNeeded && !m_keyboard) {
        m_keyboard.emplace(m_hasOperator);
    } else if (!isNeeded) {
        m_keyboard.reset();
    }
    for (const auto& view : m_views) {
        if (view->m_question) {
            view->m_question->isShown = true;
        }
    }
    Refresh();
}

/// Each line of the text behind the label.
void Console::Write(std::ostream& stream, const std::string& label, const std::string& text)
{
    if (m_isTerminal) {
        m_panel.Hide();
    }
    std::string lines = label;
    for (const char character : text) {
        lines += character;
        lines += character == '\n' ? label : "";
    }
    stream << lines << std::endl;
    Refresh();
}

void Console::Refresh()
{
    if (m_isTerminal) {
        m_panel.Show(Rows(Panel::Fits()));
    }
}

/// Verdicts, progress, questions, and what is being typed: what has to be seen comes last, should there be too many.
std::vector<std::string> Console::Rows(Space space) const
{
    std::vector<std::string> rows;
    std::vector<BigWord> verdicts;
    for (const auto& view : m_views) {
        if (view->m_verdict) {
            verdicts.push_back(ToBigWord(view->m_name + "  " + view->m_verdict->unit, view->m_verdict->exitCode));
        }
        if (!view->m_progress.empty()) {
            rows.push_back(Cut(view->m_label + view->m_progress, space.width));
        }
    }
    for (const auto& view : m_views) {
        if (view->m_question && view->m_question->isShown) {
            const auto added = Wrap(view->m_label + view->m_question->text + Keys(*view), space.width);
            rows.insert(rows.end(), added.begin(), added.end());
        }
    }
    if (!m_prompt.empty()) {
        rows.push_back(Cut(m_prompt + m_line, space.width));
    }
    space.height -= std::min(space.height, rows.size());
    const auto big = verdicts.empty() ? std::vector<std::string>() : ShowBig(verdicts, space, m_hasPanelColours);
    rows.insert(rows.begin(), big.begin(), big.end());
    return rows;
}

/// Which keys answer its question.
std::string Console::Keys(const View& view) const
{
    const bool isChosen = m_views.size() == 1 || m_chosen == view.m_number;
    return isChosen ? "  [Alt+Y yes, Alt+N no] " : "  [Alt+" + std::to_string(view.m_number) + " to answer it] ";
}

/// Colours the word of the result, the first from that place on, where there are colours.
std::string Console::Mark(std::string line, std::size_t from, const std::string& word, int colour) const
{
    const std::size_t at = m_hasColours ? line.find(word, from) : std::string::npos;
    if (at != std::string::npos) {
        line.replace(at, word.size(), "\033[1;" + std::to_string(colour) + 'm' + word + "\033[0m");
    }
    return line;
}

Console::View::View(Console& console, std::size_t number, const std::string& port, bool isAlone)
    : m_console(console),
      m_number(number),
      m_name(std::to_string(number) + ' ' + std::filesystem::path(port).filename().string()),
      m_label(isAlone ? "" : '[' + m_name + "] ")
{
}

void Console::View::Print(const std::string& line)
{
    const std::lock_guard lock(m_console.m_mutex);
    m_progress.clear();
    m_console.Write(std::cout, m_label, line);
}

void Console::View::Complain(const std::string& message)
{
    const std::lock_guard lock(m_console.m_mutex);
    m_progress.clear();
    m_console.Write(std::cerr, m_label, "station: " + Shown(message));
}

void Console::View::ShowUnit(const std::string& /*unit*/, const std::string& remark)
{
    if (!remark.empty()) {
        Print(Shown(remark));
    }
}

void Console::View::ShowVerdict(const std::string& unit, int exitCode)
{
    const std::lock_guard lock(m_console.m_mutex);
    m_verdict = Judged{Shown(unit), exitCode};
    m_console.Write(std::cout, m_label, Shown(unit) + ": " + ShortWord(exitCode));
}

void Console::View::Tell(const std::string& task)
{
    const std::lock_guard lock(m_console.m_mutex);
    if (m_console.m_isTerminal) {
        m_progress.clear();
        m_console.Write(std::cerr, m_label, task);
    }
}

std::optional<bool> Console::View::Ask(const std::string& question)
{
    std::unique_lock lock(m_console.m_mutex);
    if (!m_console.m_hasOperator) {
        return std::nullopt;
    }
    m_progress.clear();
    m_question = Question{Shown(question), false, std::nullopt};
    m_console.Wake();
    while (!m_question->answer && m_console.m_hasOperator && !m_console.m_stop) {
        m_console.m_onAnswer.wait_for(lock, STOP_INTERVAL);
    }
    const std::optional<bool> answer = m_question->answer;
    m_question.reset();
    const char* const word = answer.value_or(false) ? "yes" : "no";
    m_console.Write(std::cerr, m_label, Shown(question) + "  [Alt+Y yes, Alt+N no] " + (answer ? word : ""));
    m_console.Wake();  // the keyboard may be free again
    return answer;
}

void Console::View::OnBegin(const RunRecord& run)
{
    {
        const std::lock_guard lock(m_console.m_mutex);
        m_verdict.reset();
    }
    Print(Shown(run.planName + (run.planVersion.empty() ? "" : ", version " + run.planVersion) + ", on " + run.port +
                (run.unit.empty() ? "" : ", unit " + run.unit)));
}

void Console::View::OnTraffic(const Traffic& entry)
{
    if (m_console.m_showsFrames) {
        Print(TrafficLine(entry));
    }
}

void Console::View::OnWait(const std::string& name, Seconds waited, Seconds limit)
{
    const auto seconds = static_cast<int>(waited.count());
    if (!m_console.m_isTerminal && (seconds == 0 || seconds % PLAIN_INTERVAL != 0)) {
        return;
    }
    std::string progress = Shown(name) + ": " + std::to_string(seconds) + " of " + NumberText(limit.count()) + " s";
    const std::lock_guard lock(m_console.m_mutex);
    if (progress == m_progress) {
        return;
    }
    m_progress = std::move(progress);
    if (m_console.m_isTerminal) {
        m_console.Refresh();
    } else {
        m_console.Write(std::cerr, m_label, m_progress);
    }
}

void Console::View::OnJudged(const RunRecord& /*run*/, const CheckRecord& check)
{
    const bool isBad = check.result == Result::Fail || check.result == Result::Aborted;
    Print(m_console.Mark(ResultLine(check), Shown(check.name).size(), Word(check.result),
                         ColourOf(check.result == Result::Pass, isBad)));
}

void Console::View::OnEnd(const RunRecord& run)
{
    const bool isBad = run.verdict == Verdict::Fail || run.verdict == Verdict::CouldNotRun;
    Print(m_console.Mark(SummaryLine(run), 0, Word(run.verdict), ColourOf(run.verdict == Verdict::Pass, isBad)));
}

}  // namespace Station
