// Benchmarks of the serial test link: against the limit set by its pauses, the system log's own calls, a plain loop.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include "bench/Measure.h"
#include "common/CChecksum.h"
#include "common/CEventRoute.h"
#include "common/CFileLogger.h"
#include "ostrel/EventHostGeneric.h"
#include "ostrel/EventMessage.h"
#include "sim/SimBoard.h"
#include "tests/support/Pty.h"
#include "uart/CUARTMgr.h"

namespace {

using Bench::Clock;
using Bench::Seconds;
using Support::Bytes;
using UART::CUARTMgr;

constexpr int PAUSES_PER_FRAME = 3;

/// Answers every command at once.
class AnsweringHost : public Ostrel::Event::EventHostGeneric {
public:
    explicit AnsweringHost(CUARTMgr& manager) : EventHostGeneric("bench"), m_manager(manager) {}
    int OnRecvMessage(Ostrel::Event::EventMessage* message) override
    {
        const unsigned char reply[UART::UART_BODY_LEN] = {};
        const auto command = static_cast<unsigned short>(message->GetEventID() - UART::EVT_CMD_BASE);
        return m_manager.SendPacket(command, reply, UART::UART_BODY_LEN);
    }

private:
    CUARTMgr& m_manager;
};

Bytes Frame()
{
    const unsigned char body[UART::UART_BODY_LEN] = {};
    Bytes frame(UART::UART_FRAME_LEN, 0);
    UART::BuildFrame(frame.data(), 1, UART::CMD_GPI_TEST, body, UART::UART_BODY_LEN);
    return frame;
}

void Expect(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "bench: %s\n", what);
        std::exit(EXIT_FAILURE);
    }
}

/// Seconds that the pauses of one frame take.
double FramePauses()
{
    return PAUSES_PER_FRAME * Bench::TimeCalls([] { usleep(10000); }, 100);
}

/// Frames per second while the station keeps the line full.
double FramesPerSecond(const Support::Pty& line)
{
    constexpr int FRAMES = 300;
    constexpr int AHEAD = 10;
    const Bytes frame = Frame();
    const auto receive = [&] { Expect(line.Read(frame.size()).size() == frame.size(), "a reply is missing"); };
    for (int i = 0; i < AHEAD; ++i) {
        line.Write(frame);
    }
    receive();
    const auto start = Clock::now();
    for (int i = 0; i < FRAMES; ++i) {
        line.Write(frame);
        receive();
    }
    const double seconds = Seconds(Clock::now() - start);
    for (int i = 1; i < AHEAD; ++i) {
        receive();
    }
    return FRAMES / seconds;
}

/// Median seconds from the last byte of a frame to the last byte of its reply.
double ReplyTime(const Support::Pty& line)
{
    const Bytes frame = Frame();
    std::vector<double> times;
    for (int i = 0; i < 101; ++i) {
        line.Write(frame);
        const auto start = Clock::now();
        Expect(line.Read(frame.size()).size() == frame.size(), "a reply is missing");
        times.push_back(Seconds(Clock::now() - start));
    }
    return Bench::Median(times);
}

double ProcessorSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Share of one core that the link uses after the station has hung up.
double LoadWithoutStation(Support::Pty& line)
{
    constexpr int WATCHED_SECONDS = 3;
    line.Close();
    const double before = ProcessorSeconds();
    sleep(WATCHED_SECONDS);
    return (ProcessorSeconds() - before) / WATCHED_SECONDS;
}

void BenchLink()
{
    CUARTMgr* const manager = CUARTMgr::GetInstance("bench", 1);
    AnsweringHost host(*manager);
    Common::Event::CEventRoute::Register(&host, "0x1");
    Support::Pty line;
    Expect(manager->Open(line.Path(), 115200, 8, 1, 0, false) == 0, "the line cannot be opened");

    const double pausesBefore = FramePauses();
    const double rate = FramesPerSecond(line);
    const double replyTime = ReplyTime(line);
    const double pauses = (pausesBefore + FramePauses()) / 2;
    std::fprintf(
        stderr, "link, frames per second      %8.2f      ceiling of the pauses %8.2f      ratio %.3f  (aim: >= 0.95)\n",
        rate, 1 / pauses, rate * pauses);
    std::fprintf(stderr, "link, frame to reply         %8.2f ms   the pauses            %8.2f ms   ratio %.3f\n",
                 replyTime * 1e3, pauses * 1e3, replyTime / pauses);
    std::fprintf(stderr,
                 "link, station gone           %8.2f %% of one core                                (aim: < 5 %%)\n",
                 LoadWithoutStation(line) * 100);
    CUARTMgr::DestroyInstance();
}

void BenchLogger()
{
    Common::Logger::CFileLogger logger("bench");
    const auto times = Bench::Compare({
        [&] {
            logger.WriteDebug("[%s::%s] Type[0x%x], Cmd[0x%x], Datelen[%d] \n", "CUARTMgr", "SendPacket", 1, 2, 26);
        },
        [] {
            openlog("[bench]", LOG_CONS | LOG_NDELAY, LOG_USER);
            syslog(LOG_DEBUG, "[D] [%s::%s] Type[0x%x], Cmd[0x%x], Datelen[%d] \n", "CUARTMgr", "SendPacket", 1, 2, 26);
            closelog();
        },
    });
    std::fprintf(stderr,
                 "log line                     %8.2f us   the system's calls    %8.2f us   ratio %.3f  (aim: <= 1.1)\n",
                 times[0] * 1e6, times[1] * 1e6, times[0] / times[1]);
}

__attribute__((noinline)) unsigned char PlainLoop(const unsigned char* data, unsigned int length)
{
    unsigned char sum = 0;
    for (unsigned int i = 0; i < length; ++i) {
        sum = static_cast<unsigned char>(sum ^ data[i]);
    }
    return sum;
}

void BenchChecksum(unsigned int length)
{
    const Bytes data(length, 0x5A);
    volatile unsigned char sink = 0;
    const auto times = Bench::Compare({
        [&] { sink = Common::Convertor::CChecksum::Checksum8(data.data(), length); },
        [&] { sink = PlainLoop(data.data(), length); },
    });
    std::fprintf(stderr, "Checksum8, %4u bytes        %8.2f ns   plain loop            %8.2f ns   ratio %.3f\n", length,
                 times[0] * 1e9, times[1] * 1e9, times[0] / times[1]);
}

}  // namespace

int main()
{
    // The log goes to a file, as it would to a log daemon; the frames that the receiver prints go nowhere.
    const auto log = std::filesystem::temp_directory_path() / ("testmode-bench-" + std::to_string(getpid()));
    Sim::LogToFile(log);
    Expect(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output cannot be redirected");
    BenchLink();
    BenchLogger();
    BenchChecksum(29);
    BenchChecksum(4096);
    std::filesystem::remove(log);
}
