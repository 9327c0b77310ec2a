// The receive thread: events, log lines and printed frames for what arrives on a port.
#include "uart/CUARTReceiver.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <memory>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/select.h>

#include "tests/support/Link.h"
#include "tests/support/Wait.h"

namespace {

using Sim::Fault;
using Support::Bytes;
using Support::Event;
using Support::Frame;
using Support::TakeTexts;
using Support::Texts;
using Support::WaitFor;

/// What happens when `select` has returned, on the thread that called it, with the timeout it was given.
std::function<void(const timeval&)> afterSelect;

/// What `Run` returned last.
std::atomic<int> runResult;

struct WatchedReceiver : UART::CUARTReceiver {
    explicit WatchedReceiver(const std::string& name) : CEventRoute(name), CUARTReceiver(name) {}
    int Run() override { return runResult = CUARTReceiver::Run(); }
};

class Receiver : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        runResult = 1;
        m_receiver = std::make_unique<WatchedReceiver>("link");
        ASSERT_EQ(Common::Event::CEventRoute::Register(&m_manager, "0x2"), 0);
        m_fd = open(m_pty.Path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        ASSERT_GT(m_fd, 0);
        EXPECT_TRUE(TakeTexts().empty()) << "the constructor logs nothing";
    }
    void TearDown() override
    {
        m_receiver.reset();
        afterSelect = nullptr;
        close(m_fd);
    }

    std::vector<Event> EventsOf(const Bytes& bytes)
    {
        m_pty.Write(bytes);
        EXPECT_TRUE(WaitFor([this] { return m_manager.Count() > 0; }));
        return m_manager.Take();
    }

    Support::Pty m_pty;
    Support::KeepingHost m_manager;
    std::unique_ptr<UART::CUARTReceiver> m_receiver;
    int m_fd = -1;
};

TEST_F(Receiver, PostsDumpsAndPrintsAFrame)
{
    Bytes body;
    for (unsigned char i = 0; i < 26; ++i) {
        body += i;
    }
    Bytes frame = Frame(7, 99, body);
    frame[30] = 0x44;
    testing::internal::CaptureStdout();
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    EXPECT_EQ(EventsOf(frame), (std::vector<Event>{{1000, "RECV", frame.substr(0, 3), body, 0}}))
        << "type, command and end byte are not judged";
    m_receiver.reset();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[ReceivePacket] HEADER : 5A 07 63 \n"
              "[ReceivePacket] BODY : 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 \n"
              "[ReceivePacket] TAIL : 3F 44 \n");
    EXPECT_EQ(TakeTexts(),
              (Texts{"[D] [CUARTReceiver::ReceivePacket] =====> RECV HEAD : 5A0763\n",
                     "[D] [CUARTReceiver::ReceivePacket] =====> RECV BODY : 000102030405060708090A0B0C0D0E0F\n",
                     "[D] [CUARTReceiver::ReceivePacket] =====> RECV BODY : 10111213141516171819\n",
                     "[D] [CUARTReceiver::ReceivePacket] =====> RECV TAIL : 3F44\n"}));
}

TEST_F(Receiver, ReportsWhatIsWrongWithAFrameAndGoesOn)
{
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    Bytes frame = Frame(1, 2);
    frame[0] ^= 0x10;
    frame[29] ^= 0x10;
    EXPECT_EQ(EventsOf(frame).at(0).id, 1000) << "a start byte is not judged";
    frame[29] ^= 0x01;
    const std::string header = "ReceivePacket] Receive Header Error \n";
    const std::string body = "ReceivePacket] Receive Body Error \n";
    const std::string tail = "ReceivePacket] Receive Tail Error \n";
    const struct {
        std::size_t size;
        int error;
        std::string line;
    } cases[] = {{2, 0x10000000, header},
                 {3, 0x10000001, body},
                 {28, 0x10000001, body},
                 {30, 0x10000002, tail},
                 {31, 0x10000003, "IsValidChecksum] Checksum Invalid. cksum[0x49], tail_cksum[0x48] \n"}};
    for (const auto& expected : cases) {
        TakeTexts();
        const auto events = EventsOf(frame.substr(0, expected.size));
        ASSERT_EQ(events.size(), 1U) << expected.size << " bytes";
        EXPECT_EQ(events[0].id, 1001);
        EXPECT_EQ(events[0].error, expected.error) << expected.size << " bytes";
        EXPECT_TRUE(expected.size < 3 || events[0].header == frame.substr(0, 3));
        Texts texts = TakeTexts();
        texts.erase(texts.begin(), texts.end() - 2);
        EXPECT_EQ(texts, (Texts{"[E] [CUARTReceiver::" + expected.line,
                                expected.size == 31 ? "[D] [CUARTReceiver::Run] CHECKSUM Error. \n"
                                                    : "[D] [CUARTReceiver::Run] HDR, BODY, TAIL Error [0x1000000" +
                                                          std::to_string(expected.error & 0xF) + "]. \n"}));
    }
    EXPECT_EQ(EventsOf(Frame(1, 2)).at(0).id, 1000);
}

TEST_F(Receiver, ReadsAfterAPauseInChunksUntilTheCountIsReached)
{
    unsigned char buffer[8192] = {};
    EXPECT_EQ(m_receiver->ReceiveBytes(0, buffer, 1), -1);
    Sim::Inject(Fault::Returns("read", 1));
    EXPECT_EQ(m_receiver->ReceiveBytes(1, buffer, 1), 1) << "1 is a descriptor like any other";
    EXPECT_EQ(m_receiver->ReceiveBytes(m_fd, buffer, 0), 0);

    m_pty.Write({1, 2, 3, 4, 5, 6});
    Sim::Inject(Fault::Limits("read", 4));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_receiver->ReceiveBytes(m_fd, buffer, 6), 6);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20)) << "a pause before each read";
    EXPECT_EQ(Bytes(buffer, 7), (Bytes{1, 2, 3, 4, 5, 6, 0}));

    errno = 0;
    EXPECT_EQ(m_receiver->ReceiveBytes(m_fd, buffer, 3), -1) << "nothing has arrived";
    EXPECT_EQ(errno, EAGAIN);

    const Sim::Recording recording;
    Sim::Inject(Fault::Returns("read", 4096));
    Sim::Inject(Fault::Returns("read", 0));
    EXPECT_EQ(m_receiver->ReceiveBytes(m_fd, buffer, 5000), 4096) << "the input has ended";
    ASSERT_EQ(recording.Calls("read").size(), 2U);
    EXPECT_EQ(recording.Calls("read")[0].argument, 4096);
    EXPECT_EQ(recording.Calls("read")[1].argument, 904);

    UART::UART_HDR_T header = {};
    UART::UART_TAIL_T tail = {};
    EXPECT_EQ(m_receiver->ReceivePacket(0, &header, &tail, buffer), -1);
    EXPECT_EQ(m_receiver->OnRecvMessage(nullptr), 0);
    EXPECT_TRUE(TakeTexts().empty());
}

TEST_F(Receiver, ReadsNothingWhenItIsStoppedDuringTheWait)
{
    m_pty.Write(Frame(1, 2));
    afterSelect = [receiver = m_receiver.get()](const timeval& timeout) {
        EXPECT_EQ(timeout.tv_sec, 0) << "a stop is noticed within 300 ms";
        EXPECT_EQ(timeout.tv_usec, 300000);
        receiver->Stop();
    };
    const Sim::Recording recording;
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    ASSERT_TRUE(WaitFor([this] { return m_receiver->IsStop(); }));
    m_receiver.reset();
    EXPECT_EQ(recording.Calls("select").size(), 1U);
    EXPECT_TRUE(recording.Calls("read").empty());
    EXPECT_TRUE(WaitFor([] { return runResult == 0; }));
}

TEST_F(Receiver, ForgetsTheLastFrameWhenItStarts)
{
    unsigned char* body = nullptr;
    m_manager.Handle([&body](const auto& message) {
        if (message.GetEventID() == 1000) {
            body = static_cast<unsigned char*>(message.GetParam2());
            body[UART::UART_BUF_SIZE - 1] = 0xFF;
        }
    });
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    EXPECT_EQ(EventsOf(Frame(1, 2, Bytes(26, 0x77))).at(0).id, 1000);
    m_receiver->Stop();
    ASSERT_EQ(m_receiver->Start(m_fd), 0) << "Start waits for a thread on its way out";
    EXPECT_EQ(EventsOf({0xEE}).at(0).header, (Bytes{0xEE, 0, 0}));
    EXPECT_EQ(Bytes(body, UART::UART_BUF_SIZE), Bytes(UART::UART_BUF_SIZE, 0));
}

TEST_F(Receiver, RefusesADescriptorThatSelectCannotHold)
{
    EXPECT_EQ(m_receiver->Start(FD_SETSIZE), -1);
    EXPECT_EQ(m_receiver->Start(-1), -1);
    EXPECT_EQ(TakeTexts(), (Texts{"[E] [CUARTReceiver::Start] Descriptor Error [1024] \n",
                                  "[E] [CUARTReceiver::Start] Descriptor Error [-1] \n"}));
}

TEST_F(Receiver, StartsAgainWhateverHasEndedIt)
{
    Sim::Inject(Fault::Fails("select", EBADF));
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    ASSERT_TRUE(WaitFor([] { return runResult == 0; }));
    EXPECT_EQ(TakeTexts(), Texts{"[E] [CUARTReceiver::Run] Select Error \n"});
    EXPECT_EQ(m_receiver->Stop(), 0);
    testing::internal::CaptureStderr();
    m_manager.Handle([](const auto& /*message*/) { throw 1; });
    for (int round = 0; round < 3; ++round) {
        // Joins the ended thread, so that a new one can get its identifier.
        static_cast<Ostrel::Service::Thread&>(*m_receiver).Stop(true);
        std::thread([this] { EXPECT_EQ(m_receiver->Start(m_fd), 0); }).join();
        EXPECT_EQ(EventsOf(Frame(1, 2)).size(), 1U);
        ASSERT_TRUE(WaitFor([this] { return m_receiver->IsStop(); }));
    }
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    EXPECT_EQ(m_receiver->Start(m_fd), -1) << "the thread is at work; a second start ends it";
    EXPECT_TRUE(WaitFor([this] { return m_receiver->IsStop(); }));
}

TEST_F(Receiver, NoSignalHandlerRunsOnItsThread)
{
    sigset_t blocked = {};
    m_manager.Handle([&blocked](const auto& /*message*/) { pthread_sigmask(SIG_BLOCK, nullptr, &blocked); });
    ASSERT_EQ(m_receiver->Start(m_fd), 0);
    EXPECT_EQ(EventsOf(Frame(1, 2)).size(), 1U);
    m_receiver.reset();
    for (const int signal : {SIGUSR1, SIGALRM, SIGCHLD, SIGTERM}) {
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    }
}

}  // namespace

/// The dynamic linker finds this before the simulated board's, to which it passes calls on.
extern "C" __attribute__((visibility("default"))) int select(int count, fd_set* readable, fd_set* writable,
                                                             fd_set* exceptional, timeval* timeout)
{
    // Where a time has 32 bits by default, this is the C library's other function, for 64 bits.
    constexpr auto NAME = sizeof(long) == sizeof(timeval::tv_sec) ? "select" : "__select64";
    static const auto next = reinterpret_cast<decltype(&select)>(dlsym(RTLD_NEXT, NAME));
    const timeval asked = *timeout;
    const int result = next(count, readable, writable, exceptional, timeout);
    if (afterSelect) {
        afterSelect(asked);
    }
    return result;
}
