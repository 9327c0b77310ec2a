// What the station's tests share: a board that answers as a test tells it to, and a plan carried out on it.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "apps/station/plan/PlanFile.h"
#include "apps/station/run/Runner.h"
#include "tests/support/Pty.h"

/// Answers from its own thread. What arrives is taken as 31 bytes, or as less when a pause follows.
class FakeBoard {
public:
    using Answer = std::function<void(FakeBoard&, const Station::Bytes& received)>;

    explicit FakeBoard(Answer answer);
    ~FakeBoard();

    const std::string& Port() const { return m_pty.Path(); }
    /// How many chunks were received so far.
    int Received() const { return m_received; }
    [[nodiscard]] bool IsOver() const { return m_stop; }

    void Send(const Station::Bytes& bytes) const { m_pty.Write({bytes.begin(), bytes.end()}); }
    /// Sends a reply with the command's own code.
    void Reply(const Station::Bytes& request, const Station::Bytes& data) const;
    /// Sends the station's local time, so many seconds later.
    void ReplyTime(const Station::Bytes& request, int later = 0) const;
    /// Waits until the port holds this many bytes that nobody has read.
    void AwaitUnread(int count) const;
    /// Lets the line vanish; to be called by the answer.
    void HangUp() { m_pty.Close(); }

    /// Answers like a healthy board of type 1: inputs are wired to outputs, its clock shows the station's time, the
    /// targets of the touch test on a screen of 800 x 480 are touched within 3 pixels, eth0 has 192.168.1.10, and it
    /// has no check for ADC, speaker, RAM and flash.
    static void Healthy(FakeBoard& board, const Station::Bytes& received);
    /// Answers that command with these data bytes, and all others like a healthy board.
    static Answer Replying(unsigned char command, Station::Bytes data);

private:
    void Serve();

    Answer m_answer;
    Support::Pty m_pty;
    int m_station;  ///< keeps the station's end in being, whoever opens and closes it
    Station::Bytes m_outputs = {0x3F, 0x00};
    std::atomic<int> m_received{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

/// A plan of that text: its head, "name" included, is added unless it has one.
Station::Plan PlanOf(const std::string& toml, const Station::Overrides& settings = {});

/// Somebody who answers every question like this, or nobody.
class FakeOperator : public Station::Operator {
public:
    explicit FakeOperator(std::optional<bool> answer = std::nullopt) : m_answer(answer) {}
    void Tell(const std::string& task) override { told.push_back(task); }
    std::optional<bool> Ask(const std::string& question) override
    {
        told.push_back(question);
        return m_answer;
    }

    std::vector<std::string> told;

private:
    std::optional<bool> m_answer;
};

/// Records that are forgotten.
class FakeRecords : public Station::RecordSink {
public:
    [[nodiscard]] bool IsKeeping() const override { return true; }
};

/// Carries a plan out on a board.
Station::RunRecord RunPlan(const FakeBoard& board, const Station::Plan& plan, Station::RunOptions options = {},
                           std::optional<bool> answer = std::nullopt);

/// Of a run with a board that answers like this.
Station::RunRecord RunPlan(FakeBoard::Answer answer, const std::string& toml, std::optional<bool> yes = std::nullopt);

/// "PASS: A5 3C, as driven"
std::string Told(const Station::CheckRecord& check);
/// Of each check.
std::vector<std::string> Told(const Station::RunRecord& run);
