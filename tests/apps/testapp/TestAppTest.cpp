// The test application as its station and its user see it, on the simulated board.
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/support/Descriptors.h"
#include "tests/support/Link.h"
#include "tests/support/Picture.h"
#include "tests/support/SimulatedBoard.h"

namespace {

namespace fs = std::filesystem;
using Support::Bytes;
using Support::Frame;
using Support::Pty;
using Support::SimulatedBoard;
using testing::HasSubstr;

/// A command with its data bytes, and the data bytes of its reply.
struct Exchange {
    const char* what;
    unsigned char command;
    Bytes request;
    Bytes reply;
};

/// Other bytes, followed by a text.
Bytes Text(const std::string& text, Bytes before = {})
{
    return before.append(text.begin(), text.end());
}

using Pixels = std::vector<std::uint32_t>;

/// The eight vertical bars on a screen of that size, dimmed when `strongest` is less than 0xFF.
Pixels ColourBars(std::size_t width, std::size_t height, std::uint32_t strongest)
{
    constexpr std::uint32_t COLOURS[] = {0x010101, 0x010100, 0x000101, 0x000100, 0x010001, 0x010000, 0x000001, 0};
    Pixels pixels(width * height);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = COLOURS[i % width * 8 / width] * strongest;
    }
    return pixels;
}

class TestApp : public testing::Test {
protected:
    void TearDown() override
    {
        Stop();
        fs::remove(m_picture);
        fs::remove(m_path);
    }

    /// Lets another board be started.
    void Stop()
    {
        close(m_line);
        m_board.reset();
    }

    void Start(const std::string& port, const std::vector<std::string>& boardOptions = {},
               const std::vector<std::string>& options = {})
    {
        std::vector<std::string> program = {TESTAPP_PROGRAM, "--port", port, "--board-type", "5"};
        program.insert(program.end(), options.begin(), options.end());
        m_board.emplace(SIMBOARD_PROGRAM, boardOptions, program);
        ASSERT_TRUE(m_board->Await("waiting for commands")) << Output();
    }

    /// Starts it on the board's serial line.
    void StartOnLine(const std::vector<std::string>& boardOptions = {})
    {
        ASSERT_NO_FATAL_FAILURE(Start("/dev/ttyS0", boardOptions));
        m_line = open(m_board->Line().c_str(), O_RDWR | O_NOCTTY);
        ASSERT_GT(m_line, 0);
    }

    [[nodiscard]] std::string Output() const { return m_board->Running().Output(); }

    Bytes Answer(const Bytes& frame) const
    {
        Support::WriteBytes(m_line, frame);
        return Support::ReadBytes(m_line, UART::UART_FRAME_LEN);
    }

    /// The exchanges, one after the other.
    void Expect(const std::vector<Exchange>& exchanges) const
    {
        for (const Exchange& exchange : exchanges) {
            EXPECT_EQ(Answer(Frame(1, exchange.command, exchange.request)), Frame(5, exchange.command, exchange.reply))
                << exchange.what;
        }
    }

    /// What is on the board's screen.
    [[nodiscard]] Pixels Screen() const
    {
        const std::string content = Support::Content(m_board->File("screen"));
        Pixels pixels(content.size() / sizeof(Pixels::value_type));
        std::memcpy(pixels.data(), content.data(), content.size());
        return pixels;
    }

    /// Waits for a command's line in the log: the check begins.
    [[nodiscard]] bool AwaitCommand(const std::string& name) const
    {
        return Support::WaitFor([&] { return m_board->Log().find(name) != std::string::npos; });
    }

    /// Expects that the program ends on a signal, without waiting for the check in progress.
    void ExpectToEndWithoutTheCheck(int signal)
    {
        m_board->Running().Signal(signal);
        EXPECT_EQ(m_board->Running().Finish(), 0);
        EXPECT_THAT(Output(), HasSubstr("a check is still in progress"));
    }

    std::string m_picture = Support::TemporaryPath("screen.png");
    std::string m_path = "/tmp/testapp-" + std::to_string(getpid());  // short enough for a command
    std::optional<SimulatedBoard> m_board;
    int m_line = -1;
};

/// A line that goes away and comes back: a new pseudo-terminal behind the same path each time.
class Adapter {
public:
    explicit Adapter(std::string path) : m_path(std::move(path)) { PlugIn(); }

    void PlugIn()
    {
        m_pty.emplace();
        fs::create_symlink(m_pty->Path(), m_path);
    }
    void Unplug()
    {
        fs::remove(m_path);
        m_pty.reset();
    }
    [[nodiscard]] const Pty& Line() const { return *m_pty; }

    [[nodiscard]] Bytes Answer(const Bytes& frame) const
    {
        m_pty->Write(frame);
        return m_pty->Read(UART::UART_FRAME_LEN);
    }

private:
    std::string m_path;
    std::optional<Pty> m_pty;
};

std::size_t Count(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST_F(TestApp, CarriesOutEveryCommandOnAHealthyBoard)
{
    using namespace UART;
    ASSERT_NO_FATAL_FAILURE(StartOnLine());
    Expect({
        {"version", CMD_READ_VERSION, {}, {0, 1, 0, 1, VERSION_MAJOR, VERSION_MINOR, VERSION_PATCH}},
        {"loopback", CMD_COMM_TEST, Text("run"), {0, 0}},
        {"loopback of a text without an end", CMD_COMM_TEST, Bytes(26, 'a'), {0, 0}},
        {"outputs", CMD_GPO_TEST, {0xA5, 0x3C}, {0}},
        {"inputs", CMD_GPI_TEST, {}, {0, 0xA5, 0x3C}},
        {"PWM", CMD_PWM_OUT_TEST, {3}, {0}},
        {"disk", CMD_EXT_DEVICE_TEST, {0, 0}, {0}},
        {"file", CMD_EXT_DEVICE_TEST, Text("/mnt/usb/123456789012345", {1}), {0, 0}},
        {"file that cannot be written", CMD_EXT_DEVICE_TEST, Text("/nonexistent/a", {1}), {1, 1}},
        {"ping", CMD_EXT_DEVICE_TEST, Text("127.0.0.1", {2}), {0}},
        {"address", CMD_EXT_DEVICE_TEST, Text("lo", {3}), Text("127.0.0.1", {0})},
        {"clock set", CMD_RTC_TEST, {1, 26, 11, 16, 16, 21, 35}, {0, 26, 11, 16, 16, 21, 35, 1}},
        {"clock set to a leap day", CMD_RTC_TEST, {1, 0, 2, 29, 23, 58, 0}, {0, 0, 2, 29, 23, 58, 0, 2}},
        {"confirmation", CMD_CONFIRM_TEST_MODE, {}, {0}},
    });
    const Bytes clock = Answer(Frame(1, CMD_RTC_TEST, {0}));
    EXPECT_EQ(clock.substr(2, 6), (Bytes{CMD_RTC_TEST, 0, 0, 2, 29, 23})) << "it runs on from what it was set to";
    EXPECT_EQ(fs::file_size(m_board->File("usb/123456789012345")), 1024U);
}

TEST_F(TestApp, DrawsOnTheWholeScreen)
{
    constexpr unsigned char LCD = UART::CMD_LCD_BLU_TEST;
    const Pixels bars = ColourBars(101, 3, 0xFF);
    const Pixels black(bars.size(), 0);
    const std::pair<Exchange, Pixels> steps[] = {
        {{"white", LCD, {1}, {0}}, Pixels(bars.size(), 0xFFFFFFFF)},
        {{"black", LCD, {0, 1}, {0}}, black},
        {{"colour bars", LCD, {2}, {0}}, bars},
        {{"brightness", LCD, {4, 100}, {0}}, bars},
        {{"brightness that the driver refuses", LCD, {4, 101}, {1}}, bars},
        {{"dim", LCD, {3, 128}, {0}}, ColourBars(101, 3, 0x7F)},
        {{"dim to nothing", LCD, {3, 0}, {0}}, black},
    };
    ASSERT_NO_FATAL_FAILURE(StartOnLine({"--screen", "101x3"}));
    for (const auto& [exchange, screen] : steps) {
        Expect({exchange});
        EXPECT_TRUE(Screen() == screen) << exchange.what;
    }
}

TEST_F(TestApp, TouchTestReportsThePointsAndLeavesThePictureOfTheReadme)
{
    ASSERT_NO_FATAL_FAILURE(StartOnLine({"--screenshot", m_picture}));
    Expect({
        {"colour bars", UART::CMD_LCD_BLU_TEST, {2}, {0}},
        {"other margin", UART::CMD_TOUCH_TEST, {0}, {0, 0,   19, 0,  19, 3,   11, 0,   19, 3,  11,
                                                     1, 203, 0,  19, 1,  203, 1,  143, 0,  239}},
        {"margin", UART::CMD_TOUCH_TEST, {30}, {0, 0,   49, 0,  49, 2,   237, 0,   49, 2,  237,
                                                1, 173, 0,  49, 1,  173, 1,   143, 0,  239}},
    });
    m_board->Running().Signal(SIGTERM);
    EXPECT_EQ(m_board->Running().Finish(), 0) << Output();
    const Pixels expected = Support::ReadPng(TOUCH_TEST_PICTURE).pixels;
    ASSERT_EQ(expected.size(), 800U * 480U);
    EXPECT_TRUE(Support::ReadPng(m_picture).pixels == expected) << "docs/touch-test.png is not what scripts/demo draws";
}

TEST_F(TestApp, FailsWithoutADisplayAndKeepsThePointsOfATouchPanelThatFails)
{
    ASSERT_NO_FATAL_FAILURE(StartOnLine({"--fault", "touch-unplugged"}));
    Expect({{"two touches", UART::CMD_TOUCH_TEST, {30}, {1, 0, 49, 0, 49, 2, 237, 0, 49}}});
    Stop();
    ASSERT_NO_FATAL_FAILURE(StartOnLine({"--fault", "display-missing"}));
    Expect({
        {"display", UART::CMD_LCD_BLU_TEST, {0}, {1}},
        {"brightness", UART::CMD_LCD_BLU_TEST, {4, 50}, {1}},
        {"touch", UART::CMD_TOUCH_TEST, {30}, {1}},
    });
}

TEST_F(TestApp, CallsBadRequestsBad)
{
    using namespace UART;
    ASSERT_NO_FATAL_FAILURE(StartOnLine());
    Expect({
        {"disk 3", CMD_EXT_DEVICE_TEST, {0, 3}, {3}},
        {"unknown device", CMD_EXT_DEVICE_TEST, Text("lo", {4}), {3}},
        {"empty path", CMD_EXT_DEVICE_TEST, {1}, {3}},
        {"path that is no text", CMD_EXT_DEVICE_TEST, Text("/tmp/\n", {1}), {3}},
        {"path without an end", CMD_EXT_DEVICE_TEST, Text("/mnt/usb/1234567890123456", {1}), {3}},
        {"empty address", CMD_EXT_DEVICE_TEST, {2}, {3}},
        {"host name", CMD_EXT_DEVICE_TEST, Text("localhost", {2}), {3}},
        {"empty interface name", CMD_EXT_DEVICE_TEST, {3}, {3}},
        {"unknown picture", CMD_LCD_BLU_TEST, {5, 50}, {3}},
        {"neither read nor set", CMD_RTC_TEST, {2, 26, 11, 16, 16, 21, 35}, {3}},
        {"month 0", CMD_RTC_TEST, {1, 26, 0, 16, 16, 21, 35}, {3}},
        {"30 February", CMD_RTC_TEST, {1, 26, 2, 30, 16, 21, 35}, {3}},
        {"second 60", CMD_RTC_TEST, {1, 26, 11, 16, 16, 21, 60}, {3}},
    });
}

TEST_F(TestApp, AnswersBadFramesLogsAndEndsOnASignal)
{
    ASSERT_NO_FATAL_FAILURE(StartOnLine());
    EXPECT_EQ(Answer(Frame(2, 1)), Support::ErrorFrame(5));
    Expect({{"flash", UART::CMD_FLASH_TEST, {}, {2}}});
    m_board->Running().Signal(SIGTERM);
    EXPECT_EQ(m_board->Running().Finish(), 0);
    EXPECT_THAT(Output(), HasSubstr("testapp: ended by Terminated\n"));
    const std::string log = m_board->Log();
    EXPECT_THAT(log, HasSubstr("[testapp]: [D] CMD_FLASH_TEST : 0000"));
    EXPECT_THAT(log, HasSubstr("[testapp]: [D] [CUARTMgr::~CUARTMgr] Close Port"));
}

TEST_F(TestApp, ChecksOnlyRegularFiles)
{
    constexpr unsigned char DEVICE = UART::CMD_EXT_DEVICE_TEST;
    ASSERT_NO_FATAL_FAILURE(StartOnLine());
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(m_board->File("usb/fifo").c_str(), 0600), 0);
    Expect({
        {"pipe", DEVICE, Text(m_path, {1}), {3}},
        {"pipe on the disk", DEVICE, Text("/mnt/usb/fifo", {1}), {3}},
        {"device", DEVICE, Text("/dev/null", {1}), {3}},
        {"folder", DEVICE, Text("/tmp", {1}), {3}},
    });
    fs::remove(m_path);
    Expect({{"new file", DEVICE, Text(m_path, {1}), {0, 0}}, {"its second check", DEVICE, Text(m_path, {1}), {0, 0}}});
}

TEST_F(TestApp, FileOnTheDiskCannotBeWrittenWithoutADisk)
{
    ASSERT_NO_FATAL_FAILURE(StartOnLine({"--fault", "disk-missing"}));
    Expect({{"file", UART::CMD_EXT_DEVICE_TEST, Text("/mnt/usb/a", {1}), {1, 1}}});
}

TEST_F(TestApp, SetsTheLineUpAsItsOptionsSay)
{
    const std::pair<std::vector<std::string>, const char*> lines[] = {
        {{}, "115200 8N1\n"},
        {{"--baud", "9600", "--parity", "odd"}, "9600 8O1\n"},
        {{"--baud", "38400", "--data-bits", "7", "--parity", "even"}, "38400 7E1\n"},
        {{"--baud", "115200", "--data-bits", "5", "--stop-bits", "2", "--flow-control"}, "115200 5N2 rts/cts\n"},
    };
    for (const auto& [options, settings] : lines) {
        ASSERT_NO_FATAL_FAILURE(Start("/dev/ttyS0", {}, options));
        EXPECT_EQ(Support::Content(m_board->File("ttyS0.settings")), settings);
    }
}

TEST_F(TestApp, OpensItsPortAgainWhenTheLineIsBack)
{
    Adapter adapter(m_path);
    ASSERT_NO_FATAL_FAILURE(Start(m_path));
    const std::string pid = std::to_string(m_board->Running().Pid());
    const std::size_t descriptors = Support::OpenDescriptors(pid).size();
    for (std::size_t round = 1; round <= 2; ++round) {
        adapter.Unplug();
        ASSERT_TRUE(Support::WaitFor([&] { return Count(Output(), "is gone\n") == round; })) << Output();
        ASSERT_TRUE(Support::WaitFor([&] { return Count(m_board->Log(), "Port Close") == round; }));
        // An adapter that is held open comes back under another name.
        ASSERT_TRUE(Support::WaitFor([&] { return Support::OpenDescriptors(pid).size() == descriptors - 2; }));
        const std::string log = m_board->Log();
        adapter.PlugIn();
        ASSERT_TRUE(Support::WaitFor([&] { return Count(Output(), "is back\n") == round; })) << Output();
        EXPECT_THAT(m_board->Log().substr(log.size()), testing::Not(HasSubstr("Error"))) << "it read on";
        EXPECT_EQ(adapter.Answer(Frame(1, UART::CMD_FLASH_TEST)), Frame(5, UART::CMD_FLASH_TEST, {2}));
    }
    EXPECT_EQ(Support::OpenDescriptors(pid).size(), descriptors);
    adapter.Unplug();
    ASSERT_TRUE(Support::WaitFor([&] { return Count(Output(), "is gone\n") == 3; }));
    m_board->Running().Signal(SIGTERM);
    EXPECT_EQ(m_board->Running().Finish(), 0);
    EXPECT_THAT(Output(), testing::Not(HasSubstr("still in progress")));
    EXPECT_EQ(Count(Output(), "is gone\n"), 3U);
    EXPECT_EQ(Count(Output(), "is back\n"), 2U);
}

TEST_F(TestApp, LateReplyDoesNotReachTheNextLine)
{
    Adapter adapter(m_path);
    ASSERT_NO_FATAL_FAILURE(Start(m_path));
    adapter.Line().Write(Frame(1, UART::CMD_EXT_DEVICE_TEST, {0, 0}));  // the check takes a second
    ASSERT_TRUE(AwaitCommand("CMD_EXT_DEVICE_TEST"));
    adapter.Unplug();
    adapter.PlugIn();
    ASSERT_TRUE(m_board->Await("is back")) << Output();
    EXPECT_EQ(adapter.Answer(Frame(1, UART::CMD_FLASH_TEST)), Frame(5, UART::CMD_FLASH_TEST, {2}));
    EXPECT_THAT(Output(), HasSubstr("the reply to command 8 could not be sent"));
}

TEST_F(TestApp, EndsAlsoWhileAReplyIsStuck)
{
    const Pty pty;
    ASSERT_NO_FATAL_FAILURE(Start(pty.Path()));
    const int held = open(pty.Path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(tcflow(held, TCOOFF), 0);  // the sender now waits for the line, for up to five seconds
    pty.Write(Frame(1, UART::CMD_CONFIRM_TEST_MODE));
    ASSERT_TRUE(AwaitCommand("EAGAIN write"));
    ExpectToEndWithoutTheCheck(SIGINT);
    close(held);
}

TEST_F(TestApp, EndsAlsoWhileItWaitsForATouchOnALineThatIsGone)
{
    Adapter adapter(m_path);
    ASSERT_NO_FATAL_FAILURE(Start(m_path, {"--fault", "touch-silent"}));
    adapter.Line().Write(Frame(1, UART::CMD_TOUCH_TEST, {30}));
    ASSERT_TRUE(m_board->Await("Touch2: "));
    adapter.Unplug();
    ASSERT_TRUE(m_board->Await("is gone"));
    ExpectToEndWithoutTheCheck(SIGTERM);
}

TEST_F(TestApp, TellsWhatIsWrongWithItsOptions)
{
    struct Wrong {
        std::vector<std::string> options;
        int exitCode;
        const char* message;
    };
    const Wrong wrong[] = {
        {{"--help"}, 0, "The serial port to the station"},
        {{}, 2, "--port is required"},
        {{"--port", "x", "--baud", "4800"}, 2, "4800 not in"},
        {{"--port", "x", "--board-type", "2"}, 2, "2 not in"},
        {{"--port", "x", "--data-bits", "9"}, 2, "9 not in range"},
        {{"--port", "x", "extra"}, 2, "extra"},
        {{"--port", "x", "--images", "/no"}, 2, "cannot read /no/target.bmp: No such file"},
        {{"--port", "/nonexistent/port"}, 1, "cannot use /nonexistent/port: No such file"},
        {{"--port", "/dev/null"}, 1, "cannot use /dev/null: it is not a serial port"},
    };
    for (const auto& [options, exitCode, message] : wrong) {
        std::vector<std::string> program = options;
        program.insert(program.begin(), TESTAPP_PROGRAM);
        SimulatedBoard board(SIMBOARD_PROGRAM, {}, program);
        EXPECT_EQ(board.Running().Finish(), exitCode) << message;
        EXPECT_THAT(board.Running().Output(), HasSubstr(message));
    }
}

}  // namespace
