// What went over the line during a check.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "apps/station/Types.h"

namespace Station {

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
    std::size_t dropped = 0;  ///< bytes of noise that came behind these and were not kept
};

/// The traffic of one check, in order. Of noise at most MOST_NOISE bytes are kept and the rest is counted: a line that
/// never falls silent brings millions.
class Transcript {
public:
    static constexpr std::size_t MOST_NOISE = std::size_t{64} * 1024;
    /// With as many entries, replies to other commands count as noise.
    static constexpr std::size_t MOST_ENTRIES = 1000;

    /// Adds an entry, unless there are no bytes. The hook, if there is one, is told it.
    void Add(Traffic::Kind kind, Seconds at, Bytes bytes);
    void OnEntry(std::function<void(const Traffic&)> hook) { m_hook = std::move(hook); }

    [[nodiscard]] const std::vector<Traffic>& Entries() const { return m_entries; }
    /// Bytes of noise that came, kept or not.
    [[nodiscard]] std::size_t NoiseSize() const { return m_noise + m_dropped; }
    [[nodiscard]] std::size_t Dropped() const { return m_dropped; }

private:
    void AddNoise(Seconds at, Bytes bytes);
    void Push(Traffic entry);

    std::vector<Traffic> m_entries;
    std::size_t m_noise = 0;
    std::size_t m_dropped = 0;
    std::function<void(const Traffic&)> m_hook;
};

}  // namespace Station
