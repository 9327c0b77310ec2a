// Every system call of every check fails in turn: the calls are those that the check was seen to make.
#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>

#include <unistd.h>

#include "ioctl/CFBLib.h"
#include "ioctl/CFileTest.h"
#include "ioctl/CGPIOTest.h"
#include "ioctl/CNetTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CSysTime.h"
#include "ioctl/CUARTTest.h"
#include "ioctl/CVersion.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace {

using Sim::Fault;
using Support::LoopbackTexts;
using Support::Texts;

/// What a failing call makes of an operation: its result, how many lines of the healthy run it still logs, and which
/// lines follow.
struct Documented {
    int result;
    std::size_t keeps;
    Texts lines;
};

struct Operation {
    const char* name;
    std::function<int(const Sim::Recording&)> run;
    /// By the call, with its number in front of the name from the second on; "short" marks a read or write of half the
    /// bytes. Any other call may fail and changes nothing.
    std::map<std::string, Documented> documented;
    std::function<void()> prepare = [] {};
};

struct Outcome {
    int result;
    Texts lines;
    std::vector<Sim::Call> calls;
    std::vector<int> leftOpen;
};

// Of the monitor thread: how many there are is a matter of time.
constexpr auto IDLE_LINE = "[D] TestRXD total = 0\n";

/// Runs an operation on a healthy board but for the fault.
Outcome Perform(const Operation& operation, const Fault* fault)
{
    Sim::Reset();
    Sim::PowerOn();
    operation.prepare();
    Sim::TakeLog();
    const std::set<int> before = Support::OpenDescriptors();
    const Sim::Recording recording;
    if (fault != nullptr) {
        Sim::Inject(*fault);
    }
    Outcome outcome = {operation.run(recording), {}, recording.Calls(), {}};
    const std::set<int> after = Support::OpenDescriptors();
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(outcome.leftOpen));
    for (const Sim::LogLine& line : Sim::TakeLog()) {
        outcome.lines.push_back(line.text);
    }
    const auto isIdle = [](const std::string& a, const std::string& b) { return a == b && a == IDLE_LINE; };
    outcome.lines.erase(std::unique(outcome.lines.begin(), outcome.lines.end(), isIdle), outcome.lines.end());
    return outcome;
}

/// A close that was not carried out leaves its descriptor open, no other call may.
void CheckDescriptors(const Outcome& outcome)
{
    std::vector<int> refused;
    for (const Sim::Call& call : outcome.calls) {
        if (call.name == "close" && call.result == -1) {
            refused.push_back(call.fd);
        }
    }
    EXPECT_EQ(outcome.leftOpen, refused);
    std::for_each(refused.begin(), refused.end(), close);
}

/// True when the call that the fault is meant for came about.
bool IsHit(const Outcome& outcome, const Fault& fault)
{
    int before = 0;
    const auto isMeant = [&](const Sim::Call& call) { return call.name == fault.call && before++ == fault.after; };
    const auto call = std::find_if(outcome.calls.begin(), outcome.calls.end(), isMeant);
    return call != outcome.calls.end() && call->result == (fault.limit ? static_cast<long>(*fault.limit) : -1);
}

class Sweep : public testing::TestWithParam<Operation> {
protected:
    void TearDown() override { Sim::Reset(); }

    /// Runs with a fault of a call that is documented under `key`.
    void GoesWrong(const std::string& key, const Fault& fault)
    {
        SCOPED_TRACE(key);
        const Outcome outcome = Perform(GetParam(), &fault);
        const auto found = GetParam().documented.find(key);
        const Documented expected = found != GetParam().documented.end()
                                        ? found->second
                                        : Documented{m_healthy.result, m_healthy.lines.size(), {}};
        ASSERT_LE(expected.keeps, m_healthy.lines.size());
        Texts lines(m_healthy.lines.begin(), m_healthy.lines.begin() + static_cast<std::ptrdiff_t>(expected.keeps));
        lines.insert(lines.end(), expected.lines.begin(), expected.lines.end());
        EXPECT_EQ(outcome.result, expected.result);
        EXPECT_EQ(outcome.lines, lines);
        EXPECT_TRUE(IsHit(outcome, fault));
        CheckDescriptors(outcome);
    }

    Outcome m_healthy;
};

constexpr int REPEATS = 4;  // of a call in a loop that polls, so many fail in turn

TEST_P(Sweep, EveryCallFailsInTurn)
{
    m_healthy = Perform(GetParam(), nullptr);
    CheckDescriptors(m_healthy);
    ASSERT_FALSE(m_healthy.calls.empty());
    std::map<std::string, int> seen;
    for (const Sim::Call& call : m_healthy.calls) {
        const int before = seen[call.name]++;
        if (before >= REPEATS) {
            continue;
        }
        const std::string key = (before == 0 ? "" : std::to_string(before + 1) + " ") + call.name;
        GoesWrong(key, Fault::Fails(call.name, EIO).After(before));
        if ((call.name == "read" || call.name == "write") && call.result > 1) {
            const auto half = static_cast<std::size_t>(call.result) / 2;
            GoesWrong("short " + key, Fault::Limits(call.name, half).After(before));
        }
    }
}

template <class Function>
std::function<int(const Sim::Recording&)> Plain(Function function)
{
    return [=](const Sim::Recording& /*recording*/) { return function(); };
}

int DriveOutputs()
{
    unsigned char pattern[32] = {0xA5, 0x3C};
    return IOCTL::CGPIOTest().CheckGPO(pattern);
}

int ReadInputs()
{
    unsigned char state[32] = {0x11, 0x22};
    return IOCTL::CGPIOTest().CheckGPI(state);
}

int ReadVersion()
{
    unsigned char version[3];
    return IOCTL::CVersion().GetHWVersion(version);
}

int ReadClock()
{
    tm time = {};
    return IOCTL::CSysTime().GetSysTime(&time);
}

int VerifyFile()
{
    const std::string path = Support::TemporaryPath("sweep");
    const int result = IOCTL::CFileTest().FileVerify(path.c_str());
    std::remove(path.c_str());
    return result;
}

/// The first step that fails ends it.
int UseDisplay()
{
    IOCTL::CFBLib display;
    const bool isReady =
        display.Open() == 0 && display.SetInfo(32, 0, 0, 8, 8) == 0 && display.InitializeScreenBuffer() == 0;
    return isReady ? display.SetDisplayBrightness(50) : -1;
}

/// Runs the monitor thread for a few reads. -1 when the port does not open, else the result of starting the thread.
int Monitor(const Sim::Recording& recording)
{
    IOCTL::CUARTTest check;
    if (check.Open("/dev/ttyS1", 9600, 8, 1, 0, false) != 0) {
        return -1;
    }
    const int result = check.start();
    if (result == 0) {
        EXPECT_TRUE(Support::WaitFor([&] { return recording.Calls("read").size() > std::size_t{REPEATS}; }));
        check.stop();
    }
    check.Close();
    return result;
}

constexpr auto GPI_ERROR = "[E] [GPI] /dev/dev_status open error";
constexpr auto PWM_ERROR = "[E] [PWM] /dev/dev_status open error\n";
constexpr auto VERSION_ERROR = "[E] [GetHWVersion] open error: errno = 5: Input/output error \n";
constexpr auto UART_ERROR = "[E] [UART] /dev/ttyS1 Open Error!";
// What a port does that keeps its settings: its reads never give 0.
constexpr auto READ_ERROR = "[E] [UART] Read Error!\n";

// The first line that is kept is always the one of the constructor.
const Operation OPERATIONS[] = {
    {"CheckGPO", Plain(DriveOutputs), {{"open", {-1, 1, {GPI_ERROR}}}}},
    {"CheckGPI", Plain(ReadInputs), {{"open", {-1, 1, {GPI_ERROR}}}, {"ioctl", {0, 1, {"[D] Total : 11 / 22\n\n"}}}}},
    {"CheckPWM", Plain([] { return IOCTL::CPWMOutTest().CheckPWM(1); }), {{"open", {-1, 1, {PWM_ERROR}}}}},
    {"GetHWVersion",
     Plain(ReadVersion),
     {{"open", {-1, 1, {VERSION_ERROR}}}, {"ioctl", {0, 1, {"[D] [GetHWVersion] HW Version 0 1 2 : 0 0 0 \n\n"}}}}},
    {"GetSysTime",
     Plain(ReadClock),
     {{"open", {-1, 1, {"[E] [RTC] RTC_DEV Open Error!\n"}}},
      {"ioctl", {-1, 1, {"[E] [RTC] RTC_RD_TIME Open Error!\n"}}}}},
    {"SetSysTime",
     Plain([] { return IOCTL::CSysTime().SetSysTime(26, 11, 16, 16, 21, 35); }),
     {{"open", {-1, 1, {}}}, {"ioctl", {-1, 1, {}}}}},
    {"Display",
     Plain(UseDisplay),
     {{"open", {-1, 1, {"[E] [FB] /dev/fb0 open error"}}},
      {"ioctl", {-1, 1, {"[E] [SetInfo] SET_OSD_INFO error"}}},
      {"2 ioctl", {-1, 1, {"[E] [InitializeScreenBuffer] FBIOGET_VSCREENINFO error"}}},
      {"mmap", {-1, 1, {"[E] [InitializeScreenBuffer] mmap error"}}},
      {"3 ioctl", {-1, 1, {}}}}},
    {"PingTest",
     Plain([] { return IOCTL::CNetTest().PingTest("192.0.2.1"); }),
     {{"socket", {-1, 2, {"[E] [ping] socket error"}}},
      {"setsockopt", {-1, 2, {"[E] [ping] setsocketopt error"}}},
      {"sendto", {-1, 4, {"[D] [ping] Send To = -1", "[E] sendto error"}}},
      {"recvfrom", {-1, 6, {"[D] [ping] Recv From = -1", "[E] recvfrom error"}}}}},
    {"GetIP",
     Plain([] { return IOCTL::CNetTest().GetIP("lo") != nullptr ? 0 : -1; }),
     {{"socket", {-1, 1, {"[E] [GetIP] Socket Open error : ER_SOCKET"}}},
      {"ioctl", {-1, 1, {"[E] [GetIP] IOCTL error : ER_ADDR"}}}}},
    {"MountUSB_whole", Plain([] { return IOCTL::CFileTest().MountUSB(0); }), {{"mount", {-1, 1, {}}}}},
    {"MountUSB_partitioned",
     Plain([] { return IOCTL::CFileTest().MountUSB(2); }),
     {{"2 mount", {-1, 1, {}}}},
     [] { Sim::PlugIn(2, Sim::Disk::PARTITIONED); }},
    {"FileVerify",
     Plain(VerifyFile),
     {{"fopen", {1, 1, {}}},
      {"write", {3, 1, {"[D] fwrite = 0\n", "[D] fread = 0\n"}}},
      {"short write", {3, 1, {"[D] fwrite = 0\n", "[D] fread = 0\n"}}},
      {"2 fopen", {2, 2, {}}},
      {"read", {3, 2, {"[D] fread = 0\n"}}}}},
    {"TestUART",
     Plain([] { return IOCTL::CUARTTest().TestUART("", 0, 0, 0, 0, false, "0123456789"); }),
     {{"open", {3, 1, {UART_ERROR, "[D] TestTXD = -1\n", "[D] TestRXD = -1\n", "[D] TestRXD data = [00]\n"}}},
      {"tcsetattr", {0, 3, {READ_ERROR, "[D] TestRXD = -1\n", "[D] TestRXD data = [30]\n"}}},
      {"write", {3, 1, LoopbackTexts(-1, 0, "")}},
      {"short write", {3, 1, LoopbackTexts(5, 5, "3031323334")}},
      {"short read", {3, 1, LoopbackTexts(10, 10, "35363738390000000000")}}}},
    {"Monitor",
     Monitor,
     {{"open", {-1, 1, {UART_ERROR}}}, {"tcsetattr", {0, 2, {READ_ERROR}}}, {"pthread_create", {EIO, 1, {}}}}},
};

INSTANTIATE_TEST_SUITE_P(Operations, Sweep, testing::ValuesIn(OPERATIONS), Support::CASE_NAME);

}  // namespace
