// The link to the board: one command out, its reply back, and a record of every byte in between.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

#include "apps/station/line/Frame.h"
#include "apps/station/line/SerialPort.h"
#include "apps/station/line/Transcript.h"

namespace Station {

/// How waiting for a reply ended.
enum class Outcome {
    Reply,       ///< a frame with the command's code
    ErrorFrame,  ///< the board did not accept the command
    Damaged,     ///< a reply came, but not intact
    Silence,     ///< the time is up
    Stopped,     ///< the stop flag was set
};

struct Exchange {
    Outcome outcome = Outcome::Stopped;
    Bytes reply;                         ///< the 31 bytes; empty unless the outcome is Reply or ErrorFrame
    std::optional<unsigned char> other;  ///< the code of a reply to another command that came instead
    std::size_t noise = 0;               ///< bytes that came and are no part of an intact frame
};

/// Used by one thread. The port and the stop flag outlive it.
class Link {
public:
    Link(SerialPort& port, unsigned char boardType, const std::atomic<bool>& stop)
        : m_port(port), m_boardType(boardType), m_stop(stop)
    {
    }

    /// The hook is told several times a second how long the present exchange has been waiting, and how long it may.
    void OnWait(std::function<void(Seconds waited, Seconds limit)> hook) { m_onWait = std::move(hook); }

    [[nodiscard]] unsigned char BoardType() const { return m_boardType; }
    [[nodiscard]] Seconds Elapsed() const { return Clock::now() - m_start; }
    [[nodiscard]] bool Stopped() const { return m_stop; }
    [[nodiscard]] const std::atomic<bool>& StopFlag() const { return m_stop; }

    /// Discards what is waiting, sends `frame` and waits for the reply to `command`; replies to other commands are
    /// recorded and passed over. Adds to `transcript`, also when it throws.
    /// @throws PortError if the port is gone
    Exchange Transact(const Bytes& frame, unsigned char command, Seconds timeout, Transcript& transcript);

    /// Records what arrives within `duration` as noise.
    /// @throws PortError if the port is gone
    void Listen(Seconds duration, Transcript& transcript);

    /// Waits until the line has been silent for 100 ms, at most `most`; false when it does not fall silent. After bad
    /// input the board reads on for as long as there is some, and answers with error frames; only when they stop does
    /// it take the next byte as the start of a frame.
    /// @throws PortError if the port is gone
    bool AwaitQuiet(Seconds most, Transcript& transcript);

private:
    using Clock = std::chrono::steady_clock;

    void Await(FrameScanner& scanner, unsigned char command, Seconds timeout, Transcript& transcript,
               Exchange& exchange);
    bool TakeReply(FrameScanner& scanner, unsigned char command, Transcript& transcript, Exchange& exchange);
    void DiscardPending(Transcript& transcript);

    SerialPort& m_port;
    unsigned char m_boardType;
    const std::atomic<bool>& m_stop;
    Clock::time_point m_start = Clock::now();
    std::function<void(Seconds, Seconds)> m_onWait;
};

}  // namespace Station
