// The link to the board: one command out, its reply back, and a record of every byte in between.
#include "apps/station/Link.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Station {

namespace {

using std::chrono::milliseconds;

/// The longest wait between two looks at the stop flag and the clock.
constexpr milliseconds SLICE{100};
/// The board writes a frame in one go: a damaged reply followed by this much silence is not going to get better.
constexpr milliseconds QUIET_TIME{500};

/// More than the kernel buffers for a port; a line that never falls silent must not keep a command from being sent.
constexpr int MAX_STALE_READS = 32;

/// The next wait, at least 1 ms so that waiting for the last moment does not spin.
milliseconds NextWait(Seconds left)
{
    return std::clamp(std::chrono::duration_cast<milliseconds>(left), milliseconds{1}, SLICE);
}

bool IsNoise(const Traffic& entry)
{
    return entry.kind == Traffic::Kind::Noise;
}

/// The bytes of noise that are kept.
std::size_t NoiseSize(const std::vector<Traffic>& traffic)
{
    return std::accumulate(traffic.begin(), traffic.end(), std::size_t{0}, [](std::size_t sum, const Traffic& entry) {
        return sum + (IsNoise(entry) ? entry.bytes.size() : 0);
    });
}

}  // namespace

std::size_t DroppedNoise(const std::vector<Traffic>& traffic)
{
    return std::accumulate(traffic.begin(), traffic.end(), std::size_t{0},
                           [](std::size_t sum, const Traffic& entry) { return sum + entry.dropped; });
}

Exchange Link::Transact(const Bytes& frame, unsigned char command, Seconds timeout, std::vector<Traffic>& traffic)
{
    DiscardPending(traffic);
    m_port.Write(frame);
    Record(Traffic::Kind::Sent, frame, traffic);
    FrameScanner scanner(m_boardType, command);
    try {
        Exchange exchange = Await(scanner, command, timeout, traffic);
        RecordNoise(scanner.TakeRest(), traffic);
        return exchange;
    } catch (const PortError&) {
        RecordNoise(scanner.TakeRest(), traffic);
        throw;
    }
}

void Link::DiscardPending(std::vector<Traffic>& traffic)
{
    bool more = true;
    for (int reads = 0; more && reads < MAX_STALE_READS; ++reads) {
        Bytes stale = m_port.Read(milliseconds{0});
        more = !stale.empty();
        RecordNoise(std::move(stale), traffic);
    }
}

Exchange Link::Await(FrameScanner& scanner, unsigned char command, Seconds timeout, std::vector<Traffic>& traffic)
{
    const Clock::time_point start = Clock::now();
    Clock::time_point heard = start;
    while (true) {
        const Bytes bytes = m_port.Read(NextWait(timeout - (Clock::now() - start)));
        const Clock::time_point now = Clock::now();
        if (!bytes.empty()) {
            heard = now;
            scanner.Add(bytes);
        }
        while (std::optional<Bytes> frame = scanner.Next()) {
            RecordNoise(scanner.TakeNoise(), traffic);
            Record(Traffic::Kind::Received, *frame, traffic);
            if (IsErrorFrame(*frame)) {
                return {Outcome::ErrorFrame, std::move(*frame)};
            }
            if ((*frame)[2] == command) {
                return {Outcome::Reply, std::move(*frame)};
            }
        }
        if (scanner.NoiseSize() > MOST_NOISE) {
            RecordNoise(scanner.TakeNoise(), traffic);
        }
        if (m_stop) {
            return {Outcome::Stopped, {}};
        }
        const bool timeIsUp = now - start >= timeout;
        if ((timeIsUp || now - heard >= QUIET_TIME) && scanner.SawDamagedReply()) {
            return {Outcome::Damaged, {}};
        }
        if (timeIsUp) {
            return {Outcome::Silence, {}};
        }
        if (m_onWait) {
            m_onWait(now - start, timeout);
        }
    }
}

void Link::Listen(Seconds duration, std::vector<Traffic>& traffic)
{
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < duration && !m_stop) {
        RecordNoise(m_port.Read(NextWait(duration - (Clock::now() - start))), traffic);
    }
}

/// Records noise as long as there is room for it, then only counts it.
void Link::RecordNoise(Bytes bytes, std::vector<Traffic>& traffic)
{
    const std::size_t room = MOST_NOISE - std::min(MOST_NOISE, NoiseSize(traffic));
    const std::size_t dropped = bytes.size() - std::min(bytes.size(), room);
    bytes.resize(bytes.size() - dropped);
    Record(Traffic::Kind::Noise, std::move(bytes), traffic);
    if (dropped > 0) {
        std::find_if(traffic.rbegin(), traffic.rend(), IsNoise)->dropped += dropped;
    }
}

void Link::Record(Traffic::Kind kind, Bytes bytes, std::vector<Traffic>& traffic)
{
    if (bytes.empty()) {
        return;
    }
    traffic.push_back({kind, Elapsed(), std::move(bytes)});
    if (m_onTraffic) {
        m_onTraffic(traffic.back());
    }
}

}  // namespace Station
