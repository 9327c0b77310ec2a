// A board at the far end of a pseudo-terminal that answers as a test tells it to.
#pragma once

#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <string>
#include <thread>

#include "apps/station/Frame.h"

/// Answers from its own thread. What arrives is taken as 31 bytes, or as less when a pause follows.
class FakeBoard {
public:
    using Answer = std::function<void(FakeBoard&, const Station::Bytes& received)>;

    explicit FakeBoard(Answer answer);
    ~FakeBoard();
    FakeBoard(const FakeBoard&) = delete;
    FakeBoard& operator=(const FakeBoard&) = delete;

    const std::string& Port() const { return m_port; }
    /// How many chunks were received so far.
    int Received() const { return m_received; }

    void Send(const Station::Bytes& bytes) const;
    /// One byte at a time, each when the station has taken the one before.
    void SendInPieces(const Station::Bytes& bytes) const;
    /// Waits until the port holds this many bytes that nobody has read.
    void AwaitUnread(int count) const;
    /// Lets the line vanish; to be called by the answer.
    void HangUp();

    /// Answers like a healthy board of type 1: inputs are wired to outputs (at first 3F 00), its clock runs on from
    /// what it was set to (at first 2026-11-16 16:21:35), and it has no check for ADC, speaker, RAM and flash.
    static void Healthy(FakeBoard& board, const Station::Bytes& received);
    /// A reply with the command's own code.
    static Station::Bytes Reply(const Station::Bytes& request, const Station::Bytes& data);

private:
    void Serve();
    Station::Bytes Receive() const;
    Station::Bytes Clock(const Station::Bytes& received);

    Answer m_answer;
    int m_board;         ///< the board's end
    int m_station = -1;  ///< keeps the station's end in being, whoever opens and closes it
    std::string m_port;
    Station::Bytes m_outputs = {0x3F, 0x00};
    std::time_t m_clock = 1794846095;  ///< at m_clockSet
    std::chrono::steady_clock::time_point m_clockSet = std::chrono::steady_clock::now();
    std::atomic<int> m_received{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
