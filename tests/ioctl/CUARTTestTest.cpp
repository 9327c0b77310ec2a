// The loopback check of a serial port, on a pseudo-terminal whose far end the test holds.
#include "ioctl/CUARTTest.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Pty.h"
#include "tests/support/Wait.h"

namespace {

using IOCTL::CUARTTest;
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
    CUARTTest m_check;
};

struct Line {
    int baud, dataBits;
    tcflag_t controlFlags;
};

class LoopbackLine : public Loopback, public testing::WithParamInterface<Line> {};

TEST_P(LoopbackLine, IsRawWithOneStopBitAndNothingElse)
{
    const Line& line = GetParam();
    ASSERT_EQ(m_check.Open(PORT, line.baud, line.dataBits, 2, 1, true), 0);
    ASSERT_TRUE(Sim::AppliedLine());
    const termios applied = *Sim::AppliedLine();
    EXPECT_EQ(applied.c_iflag, static_cast<tcflag_t>(IGNPAR));
    EXPECT_EQ(applied.c_oflag, 0U);
    EXPECT_EQ(applied.c_lflag, 0U);
    EXPECT_EQ(applied.c_cflag, CREAD | line.controlFlags);
    for (int i = 0; i < NCCS; ++i) {
        EXPECT_EQ(applied.c_cc[i], i == VSTART ? 0x11 : i == VSTOP ? 0x13 : 0) << "control character " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, LoopbackLine,
                         testing::Values(Line{9600, 8, B9600 | CS8}, Line{19200, 7, B19200 | CS7},
                                         Line{38400, 6, B38400 | CS6}, Line{57600, 5, B57600 | CS5},
                                         Line{115200, 9, B115200 | CS8}, Line{4800, 4, B9600 | CS8}));

TEST_F(Loopback, OpensOnceAndClosesOnlyWhenTold)
{
    const Sim::Recording recording;
    {
        CUARTTest check;
        EXPECT_EQ(check.IsOpen(), -1);
        check.Close();
        EXPECT_EQ(check.Open(PORT, 9600, 8, 1, 0, false), 0);
        EXPECT_EQ(check.IsOpen(), 0);
        EXPECT_EQ(check.Open("/dev/other", 9600, 8, 1, 0, false), 0) << "already open";
    }
    const Texts calls = {"open /dev/ttyS1 " + std::to_string(O_RDWR | O_NOCTTY | O_NONBLOCK),
                         "tcflush " + std::to_string(TCIFLUSH), "tcsetattr " + std::to_string(TCSANOW)};
    EXPECT_EQ(Support::Calls(recording), calls);
    close(static_cast<int>(recording.Calls("open").at(0).result));
}

TEST_F(Loopback, APortThatIsNotOpenIsRefused)
{
    unsigned char block[10] = {};
    EXPECT_EQ(m_check.TestTXD(block), -1);
    EXPECT_EQ(m_check.TestRXD(block), -1);
    EXPECT_EQ(TakeTexts("CUARTTest"), Texts());
    EXPECT_EQ(m_check.Open("/nonexistent/tty", 9600, 8, 1, 0, false), -1);
    EXPECT_EQ(m_check.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CUARTTest"), Texts{"[E] [UART] /nonexistent/tty Open Error!"});
    Sim::Inject(Fault::Returns("open", 0));
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(m_check.IsOpen(), -1) << "a descriptor of 0 counts as closed";
    EXPECT_EQ(m_check.TestTXD(block), -1);
}

TEST_F(Loopback, TestUartIgnoresItsLineArgumentsAndCloses)
{
    std::thread plug([&] { m_pty.Write(m_pty.Read(10)); });
    EXPECT_EQ(Test("0123456789abc"), 0);
    plug.join();
    EXPECT_EQ(m_check.IsOpen(), -1);
    EXPECT_EQ(Sim::AppliedLine()->c_cflag, tcflag_t{CREAD | B115200 | CS8});
}

/// What waits on the line when the block has been sent, in reads of at most so many bytes, and what becomes of it.
struct Echo {
    const char* name;
    std::string text;
    Bytes sent;
    Bytes waiting;
    std::vector<std::size_t> reads;
    int result;
    std::string bytes;  // as logged
};

class LoopbackEcho : public Loopback, public testing::WithParamInterface<Echo> {};

TEST_P(LoopbackEcho, ComparesWhatTheLastReadsLeft)
{
    const Echo& echo = GetParam();
    ASSERT_EQ(Open(), 0);
    Receive(echo.waiting);
    for (const std::size_t size : echo.reads) {
        Sim::Inject(Fault::Limits("read", size));
    }
    EXPECT_EQ(Test(echo.text.c_str()), echo.result);
    EXPECT_EQ(m_check.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CUARTTest"), Support::LoopbackTexts(10, echo.waiting.size(), echo.bytes));
    EXPECT_EQ(m_pty.Read(10), echo.sent);
    EXPECT_EQ(m_pty.Read(1, std::chrono::milliseconds(0)), Bytes()) << "ten bytes are sent";
}

const Bytes DIGITS = ToBytes("0123456789");
const Bytes ABC = ToBytes("abc") + Bytes(7, 0);
const Bytes EMPTY = Bytes(1, 0xEE) + Bytes(9, 0);

INSTANTIATE_TEST_SUITE_P(
    Echoes, LoopbackEcho,
    testing::Values(
        Echo{"whole", "0123456789abc", DIGITS, DIGITS, {}, 0, "30313233343536373839"},
        Echo{"in_two_parts", "0123456789", DIGITS, DIGITS, {4}, 3, "34353637383900000000"},
        Echo{"more_than_a_block", "0123456789", DIGITS, ToBytes("abcdefghij") + DIGITS, {}, 0, "30313233343536373839"},
        Echo{"block_and_a_bit", "0123456789", DIGITS, DIGITS + ToBytes("xy"), {}, 3, "78793233343536373839"},
        Echo{"nothing", "0123456789", DIGITS, {}, {}, 3, ""},
        Echo{"short_text", "abc", ABC, ToBytes("abc"), {}, 0, "616263"},
        Echo{"short_text_cut", "abc", ABC, ToBytes("ab"), {}, 3, "6162"},
        Echo{"empty_text", "", EMPTY, EMPTY, {}, 0, "EE000000000000000000"}),
    Support::CASE_NAME);

TEST_F(Loopback, ALineThatGoesAwayInTheMiddleEndsTheTest)
{
    std::thread station([&] {
        EXPECT_EQ(m_pty.Read(10).size(), 10U);
        m_pty.Close();
    });
    EXPECT_EQ(Test("0123456789"), 3);
    station.join();
    EXPECT_EQ(m_check.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CUARTTest").at(0), "[D] TestTXD nBytes = 10\n");
}

TEST_F(Loopback, ADrainEndsAfterAHundredFailedReadsInARow)
{
    unsigned char block[10] = {};
    ASSERT_EQ(Open(), 0);
    Receive(ToBytes("z"));
    Sim::Inject(Fault::Fails("read", EIO).Times(99));
    Sim::Inject(Fault::Limits("read", 1));
    Sim::Inject(Fault::Fails("read", EIO).Times(99));
    EXPECT_EQ(m_check.TestRXD(block), 0) << "a read in between starts the count again";
    EXPECT_EQ(TakeTexts("CUARTTest"), (Texts{"[D] TestRXD total = 1\n", "[D] TestRXD = [7A]\n"}));
    Sim::Inject(Fault::Fails("read", EIO).Times(100));
    EXPECT_EQ(m_check.TestRXD(block), -1);
    EXPECT_EQ(TakeTexts("CUARTTest"), Texts{"[E] [UART] Read Error!\n"});
}

class Monitor : public Loopback {
protected:
    void SetUp() override
    {
        Loopback::SetUp();
        ASSERT_EQ(Open(), 0);
    }

    /// Adds the lines since the last call to those of their logger; true when `line` is among them.
    bool IsLogged(const std::string& identity, const std::string& line)
    {
        for (const Sim::LogLine& logged : Sim::TakeLog()) {
            m_lines[logged.identity].push_back(logged.text);
        }
        const Texts& lines = m_lines[identity];
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    std::map<std::string, Texts> m_lines;
};

TEST_F(Monitor, LogsABlockUnderItsOwnNameWithTheFirstByteTwice)
{
    Receive({0x41, 0x42, 0x43});
    Sim::Inject(Fault::Returns("read", 0));  // the drain finds nothing, so that the thread reads the bytes itself
    ASSERT_EQ(m_check.start(), 0);
    EXPECT_TRUE(WaitFor([&] { return IsLogged("[CUARTTest-Thread]", "[D] TestRXD nBytes = [41][41]\n"); }));
    EXPECT_EQ(m_check.stop(), 0);
    EXPECT_EQ(m_lines["[CUARTTest-Thread]"],
              (Texts{"[D] thread start\n", "[D] TestRXD nBytes = 3\n", "[D] TestRXD nBytes = [41][41]\n"}));
    EXPECT_EQ(m_lines["[CUARTTest]"].at(0), "[D] TestRXD total = 0\n");
    EXPECT_EQ(m_check.IsOpen(), 0) << "the port stays open";
}

TEST_F(Monitor, DrainsUnderTheNameOfItsObjectAndStartsAgain)
{
    for (int i = 0; i < 2; ++i) {
        Receive({0x41, 0x42});
        Sim::TakeLog();
        m_lines.clear();
        ASSERT_EQ(m_check.start(), 0);
        EXPECT_TRUE(WaitFor([&] { return IsLogged("[CUARTTest]", "[D] TestRXD total = 0\n"); }));
        EXPECT_EQ(m_check.stop(), 0);
        Texts lines = m_lines["[CUARTTest]"];
        lines.resize(3);
        EXPECT_EQ(lines, (Texts{"[D] TestRXD total = 2\n", "[D] TestRXD = [41]\n", "[D] TestRXD = [42]\n"}));
        EXPECT_EQ(m_lines["[CUARTTest-Thread]"], Texts{"[D] thread start\n"});
    }
}

TEST_F(Monitor, EndsWhenTheLineIsGoneOrNeverReads)
{
    ASSERT_EQ(m_check.start(), 0);
    m_pty.Close();
    EXPECT_EQ(m_check.stop(), 0);
    Sim::Inject(Fault::Fails("read", EIO).Times(1'000'000));
    ASSERT_EQ(m_check.start(), 0);
    EXPECT_TRUE(WaitFor([&] { return IsLogged("[CUARTTest]", "[E] [UART] Read Error!\n"); }));
    EXPECT_EQ(m_check.stop(), 0);
}

}  // namespace
