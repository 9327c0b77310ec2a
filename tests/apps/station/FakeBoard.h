// What the station's tests share: a board that answers as a test tells it to, and a station at the end of its line.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <string>
#include <thread>

#include "apps/station/Runner.h"
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

    void Send(const Station::Bytes& bytes) const { m_pty.Write({bytes.begin(), bytes.end()}); }
    /// Sends a reply with the command's own code.
    void Reply(const Station::Bytes& request, const Station::Bytes& data) const;
    /// Sends the station's local time, so many seconds later.
    void ReplyTime(const Station::Bytes& request, int later = 0) const;
    void ReplyTouches(const Station::Bytes& request, unsigned char status, const Station::Points& points) const;
    /// Waits until the port holds this many bytes that nobody has read.
    void AwaitUnread(int count) const;
    /// Lets the line vanish; to be called by the answer.
    void HangUp() { m_pty.Close(); }

    /// Answers like a healthy board of type 1: inputs are wired to outputs (at first 3F 00), its clock shows the
    /// station's time, the targets of the touch test are touched within 3 pixels, and it has no check for ADC, speaker,
    /// RAM and flash.
    static void Healthy(FakeBoard& board, const Station::Bytes& received);

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

/// A station at the other end of a board's line.
struct Bench {
    explicit Bench(FakeBoard::Answer answer) : board(std::move(answer)), port(board.Port(), {}) {}

    Station::CheckRecord Check(unsigned char code = UART::CMD_GPI_TEST, Station::Seconds timeout = Station::Seconds{20})
    {
        Station::CheckRecord record;
        RunCheck(link, {1, timeout}, Station::PlainCheck(code, {}), record);
        return record;
    }

    Station::RunRecord Run(const Station::Policy& policy, const std::vector<Station::Check>& plan)
    {
        return Run(PlanChecks(link, policy, plan, [](const Station::Check&) {}));
    }

    Station::RunRecord Run(const std::vector<Station::Step>& steps)
    {
        Station::RunRecord run;
        RunSteps(link, steps, run, [](const Station::CheckRecord&) {});
        return run;
    }

    std::atomic<bool> stop{false};
    FakeBoard board;
    Station::SerialPort port;
    Station::Link link{port, 1, stop};
};

/// Points as they stand in a reply, behind the status.
Station::Bytes TouchBytes(const Station::Points& points);

/// The station's local time, as the board counts.
inline std::time_t StationTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    return timegm(localtime_r(&now, &local));
}

/// "PASS: inputs 3F 00"
inline std::string Told(Station::Result result, const std::string& message)
{
    constexpr const char* WORDS[] = {"PASS: ", "FAIL: ", "SKIP: ", "ABORTED: "};
    return WORDS[static_cast<int>(result)] + message;
}
