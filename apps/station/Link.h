// The link to the board: one command out, its reply back, and a record of every byte in between.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

#include "apps/station/Frame.h"
#include "apps/station/SerialPort.h"

namespace Station {

using Seconds = std::chrono::duration<double>;

/// One entry of the record of what went over the line.
struct Traffic {
    enum class Kind {
        Sent,      ///< written by the station in one call
        Received,  ///< an intact frame
        Noise,     ///< received bytes that are no part of an intact frame, or came before the command was sent
    };
    Kind kind;
    Seconds at;  ///< since the link was created
    Bytes bytes;
    std::size_t dropped = 0;  ///< bytes of noise that came later and were not kept
};

/// The most bytes of noise that are kept for a check: a line that never falls silent brings millions.
inline constexpr std::size_t MOST_NOISE = std::size_t{64} * 1024;

/// How many bytes of noise were not kept.
std::size_t DroppedNoise(const std::vector<Traffic>& traffic);

/// How waiting for a reply ended.
enum class Outcome {
    Reply,       ///< a frame with the command's code
    ErrorFrame,  ///< the board did not accept the command
    Damaged,     ///< a reply came, but not intact
    Silence,     ///< the time is up
    Stopped,     ///< the stop flag was set
};

struct Exchange {
    Outcome outcome;
    Bytes reply;  ///< the 31 bytes; empty unless the outcome is Reply or ErrorFrame
};

/// Used by one thread. The port and the stop flag outlive it.
class Link {
public:
    Link(SerialPort& port, unsigned char boardType, const std::atomic<bool>& stop)
        : m_port(port), m_boardType(boardType), m_stop(stop)
    {
    }

    /// The hook is told every entry of the record as it is made.
    void OnTraffic(std::function<void(const Traffic&)> hook) { m_onTraffic = std::move(hook); }
    /// The hook is told several times a second how long the present exchange has been waiting, and how long it may.
    void OnWait(std::function<void(Seconds waited, Seconds limit)> hook) { m_onWait = std::move(hook); }

    [[nodiscard]] unsigned char BoardType() const { return m_boardType; }
    [[nodiscard]] Seconds Elapsed() const { return Clock::now() - m_start; }
    [[nodiscard]] bool Stopped() const { return m_stop; }

    /// Discards what is waiting, sends `frame` and waits for the reply to `command`; replies to other commands are
    /// recorded and passed over. Appends to `traffic`, also when it throws; of noise at most MOST_NOISE bytes in all.
    /// @throws PortError if the port is gone
    Exchange Transact(const Bytes& frame, unsigned char command, Seconds timeout, std::vector<Traffic>& traffic);

    /// Records what arrives within `duration` as noise.
    /// @throws PortError if the port is gone
    void Listen(Seconds duration, std::vector<Traffic>& traffic);

private:
    using Clock = std::chrono::steady_clock;

    Exchange Await(FrameScanner& scanner, unsigned char command, Seconds timeout, std::vector<Traffic>& traffic);
    void DiscardPending(std::vector<Traffic>& traffic);
    void Record(Traffic::Kind kind, Bytes bytes, std::vector<Traffic>& traffic);
    void RecordNoise(Bytes bytes, std::vector<Traffic>& traffic);

    SerialPort& m_port;
    unsigned char m_boardType;
    const std::atomic<bool>& m_stop;
    Clock::time_point m_start = Clock::now();
    std::function<void(const Traffic&)> m_onTraffic;
    std::function<void(Seconds, Seconds)> m_onWait;
};

}  // namespace Station
