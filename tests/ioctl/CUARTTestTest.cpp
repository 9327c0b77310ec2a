// The loopback check of a serial port, on a pseudo-terminal whose far end the test holds.
#include "ioctl/CUARTTest.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <map>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <termios.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Pty.h"
#include "tests/support/Wait.h"

namespace {

using Sim::Fault;
using Support::Bytes;
using Support::TakeTexts;
using Support::Texts;
using Support::WaitFor;

constexpr auto PORT = "/dev/ttyS1";

Bytes ToBytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

class Loopback : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        Sim::Redirect(PORT, m_pty.Path());
        TakeTexts("CUARTTest");
    }
    void TearDown() override
    {
        m_check.Close();
        Board::TearDown();
    }

    int Open() { return m_check.Open(PORT, 115200, 8, 1, 0, false); }
    int Test(const char* text) { return m_check.TestUART("/dev/other", 9600, 7, 2, 1, true, text); }

    /// Has the bytes wait at the board's end of the line.
    void Receive(const Bytes& bytes) const
    {
        m_pty.Write(bytes);
        const int port = open(m_pty.Path().c_str(), O_RDWR | O_NOCTTY);
        int waiting = 0;
        EXPECT_TRUE(WaitFor(
            [&] { return ioctl(port, FIONREAD, &waiting) == 0 && static_cast<std::size_t>(waiting) == bytes.size(); }));
        close(port);
    }

    Support::Pty m_pty;
    IOCTL::CUARTTest m_check;
};

TEST_F(Loopback, StopBitsParityAndFlowControlAreIgnored)
{
    ASSERT_EQ(m_check.Open(PORT, 19200, 7, 2, 1, true), 0);
    EXPECT_EQ(Sim::AppliedLine()->c_cflag, tcflag_t{CREAD | B19200 | CS7});
    m_check.Close();
    Sim::Inject(Fault::Fails("tcflush", EIO));
    Sim::Inject(Fault::Fails("tcsetattr", EIO));
    EXPECT_EQ(Open(), 0);
}

volatile std::sig_atomic_t g_alarms;

TEST_F(Loopback, AGoodPortPassesThoughSignalsCutThePauseShort)
{
    Sim::Reset();
    Sim::PowerOn();  // with the loopback plug
    struct sigaction former = {};
    struct sigaction counting = {};
    counting.sa_handler = [](int) { g_alarms = g_alarms + 1; };
    sigaction(SIGALRM, &counting, &former);
    constexpr itimerval EACH_110_MS = {{0, 110'000}, {0, 110'000}};
    constexpr itimerval NEVER = {};
    setitimer(ITIMER_REAL, &EACH_110_MS, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Test("0123456789abc"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    setitimer(ITIMER_REAL, &NEVER, nullptr);
    sigaction(SIGALRM, &former, nullptr);
    EXPECT_GE(g_alarms, 1);
    EXPECT_EQ(Sim::AppliedLine()->c_cflag, tcflag_t{CREAD | B115200 | CS8}) << "whatever the arguments say";
    EXPECT_EQ(m_check.IsOpen(), -1);
}

TEST_F(Loopback, PausesAfterSendingAndBeforeEachRead)
{
    Support::Steps steps;
    steps.CutNextSleep();
    EXPECT_EQ(Test(""), 3);
    EXPECT_EQ(steps.Taken(), (Texts{"open /dev/ttyS1 " + std::to_string(O_RDWR | O_NOCTTY | O_NONBLOCK),
                                    "tcflush " + std::to_string(TCIFLUSH), "tcsetattr " + std::to_string(TCSANOW),
                                    "write 10", "sleep 1", "sleep 1", "usleep 10000", "read 10", "close 0"}));
}

TEST_F(Loopback, ADescriptorOfZeroIsNeitherReadNorWritten)
{
    unsigned char block[10] = {};
    for (const int fd : {0, 1}) {
        Sim::Inject(Fault::Returns("open", fd));
        Sim::Inject(Fault::Returns("write", 10));
        Sim::Inject(Fault::Returns("read", 0));
        EXPECT_EQ(Open(), 0);
        EXPECT_EQ(m_check.TestTXD(block), fd - 1);
        EXPECT_EQ(m_check.TestRXD(block), fd - 1);
        EXPECT_EQ(TakeTexts("CUARTTest"),
                  fd == 0 ? Texts() : Texts({"[D] TestTXD nBytes = 10\n", "[D] TestRXD total = 0\n"}));
    }
    Sim::Inject(Fault::Returns("close", 0));
    m_check.Close();
}

/// The bytes on the line when the block has been sent, the most that each read takes, and the result.
struct Echo {
    std::string text;
    Bytes sent;
    Bytes waiting;
    std::vector<std::size_t> reads;
    int result;
};

TEST_F(Loopback, WhatTheLastReadsLeftIsCompared)
{
    const Bytes digits = ToBytes("0123456789");
    const Bytes abc = ToBytes("abc") + Bytes(7, 0);
    const Bytes empty = Bytes(1, 0xEE) + Bytes(9, 0);
    const Echo echoes[] = {{"0123456789abc", digits, digits, {}, 0},
                           {"0123456789", digits, digits, {4}, 3},
                           {"0123456789", digits, ToBytes("abcdefghij") + digits, {}, 0},
                           {"0123456789", digits, digits + ToBytes("xy"), {}, 3},
                           {"0123456789", digits, {}, {}, 3},
                           {"abc", abc, ToBytes("ab"), {}, 3},
                           {std::string(2000, 'z'), Bytes(10, 'z'), Bytes(10, 'z'), {}, 0},
                           {"", empty, empty, {}, 0},
                           {"abc", abc, ToBytes("abc"), {}, 0}};
    for (const auto& [text, sent, waiting, reads, result] : echoes) {
        SCOPED_TRACE(text + ", " + std::to_string(waiting.size()) + " bytes waiting");
        ASSERT_EQ(Open(), 0);
        Receive(waiting);
        TakeTexts("CUARTTest");
        const Support::Steps steps;
        for (const std::size_t size : reads) {
            Sim::Inject(Fault::Limits("read", size));
        }
        EXPECT_EQ(Test(text.c_str()), result);
        EXPECT_EQ(m_pty.Read(10), sent);
        EXPECT_EQ(m_pty.Read(1, std::chrono::milliseconds(0)), Bytes()) << "ten bytes are sent";
        const Texts lines = TakeTexts("CUARTTest");
        EXPECT_EQ(lines.at(2), "[D] TestRXD total = " + std::to_string(waiting.size()) + "\n");
        EXPECT_EQ(lines.size(), 5 + std::min<std::size_t>(waiting.size(), 10)) << "a line for each of ten bytes";
        if (text == "abc" && result == 0) {
            EXPECT_EQ(lines, (Texts{"[D] TestTXD nBytes = 10\n", "[D] TestTXD = 0\n", "[D] TestRXD total = 3\n",
                                    "[D] TestRXD = [61]\n", "[D] TestRXD = [62]\n", "[D] TestRXD = [63]\n",
                                    "[D] TestRXD = 0\n", "[D] TestRXD data = [61]\n"}));
        }
    }
}

TEST_F(Loopback, ADrainEndsAfterAHundredFailedReadsInARow)
{
    unsigned char block[10] = {};
    ASSERT_EQ(Open(), 0);
    Receive(ToBytes("z"));
    const Support::Steps steps;
    Sim::Inject(Fault::Fails("read", EIO).Times(99));
    Sim::Inject(Fault::Limits("read", 1));
    Sim::Inject(Fault::Fails("read", EIO).Times(99));
    EXPECT_EQ(m_check.TestRXD(block), 0) << "a read in between starts the count again";
    EXPECT_EQ(TakeTexts("CUARTTest"), (Texts{"[D] TestRXD total = 1\n", "[D] TestRXD = [7A]\n"}));
    Sim::Inject(Fault::Fails("read", EIO).Times(100));
    EXPECT_EQ(m_check.TestRXD(block), -1);
    EXPECT_EQ(TakeTexts("CUARTTest"), Texts{"[E] [UART] Read Error!\n"});
}

using Monitor = Loopback;

/// Waits until `identity` has logged the line; adds what is logged to `lines`, by identity.
void Await(std::map<std::string, Texts>& lines, const std::string& identity, const std::string& line)
{
    const Texts& own = lines[identity];
    EXPECT_TRUE(WaitFor([&] {
        for (const Sim::LogLine& logged : Sim::TakeLog()) {
            lines[logged.identity].push_back(logged.text);
        }
        return std::find(own.begin(), own.end(), line) != own.end();
    })) << line;
}

TEST_F(Monitor, LogsABlockUnderItsOwnNameAndDrainsUnderThatOfItsObject)
{
    ASSERT_EQ(Open(), 0);
    for (int i = 0; i < 2; ++i) {  // it can be started again
        std::map<std::string, Texts> lines;
        Receive(ToBytes("ABCDEFGHIJK"));
        Sim::Inject(Fault::Returns("read", 0));  // the drain finds nothing, so that the thread reads the bytes itself
        ASSERT_EQ(m_check.start(), 0);
        Await(lines, "[CUARTTest-Thread]", "[D] TestRXD nBytes = [4B][4B]\n");
        EXPECT_EQ(m_check.stop(), 0);
        Sim::TakeLog();
        EXPECT_EQ(lines["[CUARTTest-Thread]"],
                  (Texts{"[D] thread start\n", "[D] TestRXD nBytes = 10\n", "[D] TestRXD nBytes = [41][41]\n",
                         "[D] TestRXD nBytes = 1\n", "[D] TestRXD nBytes = [4B][4B]\n"}));
        EXPECT_EQ(lines["[CUARTTest]"].at(0), "[D] TestRXD total = 0\n");
        EXPECT_EQ(m_check.IsOpen(), 0) << "the port stays open";

        std::map<std::string, Texts> drained;
        Receive({0x44});
        ASSERT_EQ(m_check.start(), 0);
        Await(drained, "[CUARTTest]", "[D] TestRXD total = 0\n");  // by the next drain
        EXPECT_EQ(m_check.stop(), 0);
        EXPECT_EQ(drained["[CUARTTest]"].at(1), "[D] TestRXD = [44]\n");
        Sim::TakeLog();
    }
}

TEST_F(Monitor, EndsWhenTheLineIsGoneOrNeverReads)
{
    ASSERT_EQ(Open(), 0);
    ASSERT_EQ(m_check.start(), 0);
    m_pty.Close();
    EXPECT_EQ(m_check.stop(), 0);
    Sim::Inject(Fault::Fails("read", EIO).Times(1'000'000));
    ASSERT_EQ(m_check.start(), 0);
    std::map<std::string, Texts> lines;
    Await(lines, "[CUARTTest]", "[E] [UART] Read Error!\n");
    EXPECT_EQ(m_check.stop(), 0);
}

}  // namespace
