// What the person at the station sees and answers: result lines on standard output, progress and questions on standard
// error.
#pragma once

#include <atomic>
#include <string>

#include "apps/station/run/Record.h"

namespace Station {

/// On a terminal progress is one line that is rewritten, results have colours (unless NO_COLOR is set), and somebody is
/// there to answer questions. Elsewhere there are plain lines, a line of progress every ten seconds of waiting, and
/// nobody.
class Console : public RecordSink, public Operator {
public:
    /// Waiting for an answer ends when the flag is set, which outlives this object.
    explicit Console(const std::atomic<bool>& stop);

    void ShowFrames(bool show) { m_showsFrames = show; }

    void Print(const std::string& line);
    void Complain(const std::string& message);

    // Operator
    void Tell(const std::string& task) override;
    /// Yes is Alt+Y, no is Alt+N. What a scanner types, plain letters, is no answer.
    std::optional<bool> Ask(const std::string& question) override;

    // RecordSink
    void OnBegin(const RunRecord& run) override;
    void OnTraffic(const Traffic& entry) override;
    void OnWait(const std::string& name, Seconds waited, Seconds limit) override;
    void OnJudged(const RunRecord& run, const CheckRecord& check) override;
    void OnEnd(const RunRecord& run) override;

private:
    [[nodiscard]] std::string Mark(std::string line, const std::string& word, bool isGood, bool isBad) const;
    void ClearProgress();

    const std::atomic<bool>& m_stop;
    bool m_isTerminal;
    bool m_hasOperator;
    bool m_hasColours;
    bool m_showsFrames = false;
    std::string m_progress;  ///< last progress shown; on a terminal, empty when its line is clear
};

}  // namespace Station
