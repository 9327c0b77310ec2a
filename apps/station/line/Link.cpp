// The link to the board: one command out, its reply back, and a record of every byte in between.
#include "apps/station/line/Link.h"

#include <algorithm>
#include <utility>

namespace Station {

namespace {

using std::chrono::milliseconds;

/// The longest wait between two looks at the stop flag and the clock.
constexpr milliseconds SLICE{100};
/// The board writes a frame in one go: a damaged reply followed by this much silence is not going to get better.
constexpr milliseconds QUIET_TIME{500};
/// After this much silence the board is ready for the next frame: it gives a frame up after 10 ms.
constexpr milliseconds READY_TIME{100};

/// More than the kernel buffers for a port; a line that never falls silent must not keep a command from being sent.
constexpr int MAX_STALE_READS = 32;

/// The next wait, at least 1 ms so that waiting for the last moment does not spin.
milliseconds NextWait(Seconds left)
{
    return std::clamp(std::chrono::duration_cast<milliseconds>(left), milliseconds{1}, SLICE);
}

}  // namespace

Exchange Link::Transact(const Bytes& frame, unsigned char command, Seconds timeout, Transcript& transcript)
{
    DiscardPending(transcript);
    m_port.Write(frame);
    transcript.Add(Traffic::Kind::Sent, Elapsed(), frame);
    FrameScanner scanner(m_boardType, command);
    Exchange exchange;
    const std::size_t noise = transcript.NoiseSize();
    try {
        Await(scanner, command, timeout, transcript, exchange);
        transcript.Add(Traffic::Kind::Noise, Elapsed(), scanner.TakeRest());
    } catch (const PortError&) {
        transcript.Add(Traffic::Kind::Noise, Elapsed(), scanner.TakeRest());
        throw;
    }
    exchange.noise = transcript.NoiseSize() - noise;
    return exchange;
}

void Link::DiscardPending(Transcript& transcript)
{
    bool more = true;
    for (int reads = 0; more && reads < MAX_STALE_READS; ++reads) {
        Bytes stale = m_port.Read(milliseconds{0});
        more = !stale.empty();
        transcript.Add(Traffic::Kind::Noise, Elapsed(), std::move(stale));
    }
}

void Link::Await(FrameScanner& scanner, unsigned char command, Seconds timeout, Transcript& transcript,
                 Exchange& exchange)
{
    const Clock::time_point start = Clock::now();
    Clock::time_point heard = start;
    while (!m_stop) {
        const Bytes bytes = m_port.Read(NextWait(timeout - (Clock::now() - start)));
        const Clock::time_point now = Clock::now();
        if (!bytes.empty()) {
            heard = now;
            scanner.Add(bytes);
        }
        if (TakeReply(scanner, command, transcript, exchange)) {
            return;
        }
        const bool isTimeUp = now - start >= timeout;
        if ((isTimeUp || now - heard >= QUIET_TIME) && scanner.SawDamagedReply()) {
            exchange.outcome = Outcome::Damaged;
            return;
        }
        if (isTimeUp) {
            exchange.outcome = Outcome::Silence;
            return;
        }
        if (m_onWait) {
            m_onWait(now - start, timeout);
        }
    }
    exchange.outcome = Outcome::Stopped;
}

/// True when the reply or the error frame is there; whatever else has come is recorded.
bool Link::TakeReply(FrameScanner& scanner, unsigned char command, Transcript& transcript, Exchange& exchange)
{
    while (std::optional<Bytes> frame = scanner.Next()) {
        transcript.Add(Traffic::Kind::Noise, Elapsed(), scanner.TakeNoise());
        const bool isError = IsErrorFrame(*frame);
        const bool isReply = isError || (*frame)[2] == command;
        const bool isKept = isReply || transcript.Entries().size() < Transcript::MOST_ENTRIES;
        transcript.Add(isKept ? Traffic::Kind::Received : Traffic::Kind::Noise, Elapsed(), *frame);
        if (isReply) {
            exchange.outcome = isError ? Outcome::ErrorFrame : Outcome::Reply;
            exchange.reply = std::move(*frame);
            return true;
        }
        exchange.other = (*frame)[2];
    }
    if (scanner.NoiseSize() > Transcript::MOST_NOISE) {
        transcript.Add(Traffic::Kind::Noise, Elapsed(), scanner.TakeNoise());
    }
    return false;
}

void Link::Listen(Seconds duration, Transcript& transcript)
{
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < duration && !m_stop) {
        transcript.Add(Traffic::Kind::Noise, Elapsed(), m_port.Read(NextWait(duration - (Clock::now() - start))));
    }
}

bool Link::AwaitQuiet(Seconds most, Transcript& transcript)
{
    const Clock::time_point start = Clock::now();
    Clock::time_point heard = start;
    while (Clock::now() - start < most && !m_stop) {
        const Seconds left = READY_TIME - (Clock::now() - heard);
        Bytes bytes = m_port.Read(NextWait(left));
        if (!bytes.empty()) {
            heard = Clock::now();
        } else if (left <= SLICE) {  // by the clock alone, a station that was held up would call a busy line silent
            return true;
        }
        transcript.Add(Traffic::Kind::Noise, Elapsed(), std::move(bytes));
    }
    return false;
}

}  // namespace Station
