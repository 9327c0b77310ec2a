// What went over the line during a check.
#include "apps/station/line/Transcript.h"

#include <algorithm>
#include <utility>

namespace Station {

void Transcript::Add(Traffic::Kind kind, Seconds at, Bytes bytes)
{
    if (bytes.empty()) {
        return;
    }
    if (kind == Traffic::Kind::Noise) {
        AddNoise(at, std::move(bytes));
    } else {
        Push({kind, at, std::move(bytes)});
    }
}

void Transcript::AddNoise(Seconds at, Bytes bytes)
{
    const std::size_t kept = std::min(bytes.size(), MOST_NOISE - m_noise);
    const std::size_t dropped = bytes.size() - kept;
    if (kept > 0) {
        bytes.resize(kept);
        Push({Traffic::Kind::Noise, at, std::move(bytes)});
    }
    m_noise += kept;
    m_dropped += dropped;
    if (dropped > 0) {  // then noise was kept before
        const auto isNoise = [](const Traffic& entry) { return entry.kind == Traffic::Kind::Noise; };
        std::find_if(m_entries.rbegin(), m_entries.rend(), isNoise)->dropped += dropped;
    }
}

void Transcript::Push(Traffic entry)
{
    m_entries.push_back(std::move(entry));
    if (m_hook) {
        m_hook(m_entries.back());
    }
}

}  // namespace Station
