// What the person at the station sees and answers: result lines on standard output, progress and questions on standard
// error.
#pragma once

#include <atomic>
#include <condition_variable>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/run/Viewer.h"
#include "apps/station/terminal/Keyboard.h"
#include "apps/station/terminal/Panel.h"

namespace Station {

/// On a terminal progress, questions and verdicts stay at the bottom, results have colours (unless NO_COLOR is set),
/// and somebody is there to answer questions. Elsewhere there are plain lines, a line of progress every ten seconds of
/// waiting, and nobody. With several ports each line begins with the port's number and name.
class Console {
public:
    class View;

    /// What was typed.
    struct Typed {
        std::vector<std::string> lines;
        bool isOver = false;  ///< no line will come any more
    };

    /// Waiting ends when the flag is set, which outlives this object.
    Console(const std::atomic<bool>& stop, const std::vector<std::string>& ports);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Of a port, from 0; used by the thread of its run.
    View& At(std::size_t place) { return *m_views[place]; }
    std::vector<Viewer*> Viewers();
    void ShowFrames(bool show) { m_showsFrames = show; }
    /// From now on standard input is read line by line, whether questions are open or not.
    void ReadLines();

    /// Waits a moment for something to happen, takes what was typed, and shows and answers questions. One thread calls
    /// it again and again, for as long as units are tested.
    Typed Await();
    /// Ends a wait; from any thread.
    void Wake() const;

    void Print(const std::string& line);
    void Complain(const std::string& message);
    /// What stands before the line that is being typed.
    void SetPrompt(const std::string& prompt);

private:
    void OnKey(const Key& key, Typed& typed);
    void OnAlt(char character);
    void Choose(std::size_t digit);
    void ShowQuestions();
    void Write(std::ostream& stream, const std::string& label, const std::string& text);
    void Refresh();
    [[nodiscard]] std::vector<std::string> Rows(Space space) const;
    [[nodiscard]] std::string Keys(const View& view) const;
    [[nodiscard]] std::string Mark(std::string line, std::size_t from, const std::string& word, int colour) const;
    [[nodiscard]] bool IsAsked(std::size_t number) const;

    const std::atomic<bool>& m_stop;
    const bool m_isTerminal;
    const bool m_hasColours;       ///< of standard output
    const bool m_hasPanelColours;  ///< of standard error
    bool m_showsFrames = false;
    bool m_readsLines = false;
    int m_wake;                          ///< an eventfd
    std::optional<Keyboard> m_keyboard;  ///< while somebody may type; of the thread that awaits
    std::mutex m_mutex;                  ///< guards what follows, the views and both streams
    std::condition_variable m_onAnswer;
    bool m_hasOperator;
    Panel m_panel;
    std::string m_prompt;
    std::string m_line;        ///< typed so far
    std::size_t m_digits = 0;  ///< the number that is being typed with Alt
    std::size_t m_chosen = 0;  ///< number of the port whose question is answered; 0 is none
    std::vector<std::unique_ptr<View>> m_views;
};

/// One port's part of the console. Used by the thread of its run.
class Console::View : public Viewer {
public:
    View(Console& console, std::size_t number, const std::string& port, bool isAlone);

    /// "2 ttyUSB1"
    [[nodiscard]] const std::string& Name() const { return m_name; }
    void Print(const std::string& line);

    // Viewer
    void ShowUnit(const std::string& unit, const std::string& remark) override;
    /// In big letters.
    void ShowVerdict(const std::string& unit, int exitCode) override;
    void Complain(const std::string& message) override;

    // Operator
    void Tell(const std::string& task) override;
    /// Yes is Alt+Y, no is Alt+N; with several ports Alt and the port's number go before. What a scanner types, plain
    /// letters and digits, is no answer.
    std::optional<bool> Ask(const std::string& question) override;

    // RecordSink
    void OnBegin(const RunRecord& run) override;
    void OnTraffic(const Traffic& entry) override;
    void OnWait(const std::string& name, Seconds waited, Seconds limit) override;
    void OnJudged(const RunRecord& run, const CheckRecord& check) override;
    void OnEnd(const RunRecord& run) override;

private:
    friend class Console;

    struct Question {
        std::string text;
        bool isShown = false;  ///< what was typed before is no answer
        std::optional<bool> answer;
    };
    struct Judged {
        std::string unit;
        int exitCode;
    };

    Console& m_console;
    std::size_t m_number;    ///< of the port, from 1
    std::string m_name;      ///< "2 ttyUSB1"
    std::string m_label;     ///< "[2 ttyUSB1] "; empty when it is the only one
    std::string m_progress;  ///< last progress shown
    std::optional<Question> m_question;
    std::optional<Judged> m_verdict;
};

}  // namespace Station
