// The test application as its station and its user see it, on the simulated board.
#include <csignal>
#include <filesystem>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Link.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace {

using Support::Bytes;
using Support::Frame;
using Support::Program;
using Support::WaitFor;
using testing::HasSubstr;

class TestApp : public testing::Test {
protected:
    void TearDown() override
    {
        m_program.reset();
        std::filesystem::remove_all(m_board);
    }

    void Start(const std::string& port)
    {
        m_program = std::make_unique<Program>(std::vector<std::string>{
            SIMBOARD_PROGRAM, "--dir", m_board, "--", TESTAPP_PROGRAM, "--port", port, "--board-type", "5"});
        ASSERT_TRUE(WaitFor([this] { return m_program->Output().find("waiting for commands") != std::string::npos; }))
            << m_program->Output();
    }

    std::string m_board = Support::TemporaryPath("board");
    std::unique_ptr<Program> m_program;
};

TEST_F(TestApp, AnswersEveryCommandOnTheSimulatedBoardsPort)
{
    Start("/dev/ttyS0");
    const int line = open((m_board + "/ttyS0").c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GT(line, 0);
    const auto answer = [line](const Bytes& request) {
        Support::WriteBytes(line, request);
        return Support::ReadBytes(line, UART::UART_FRAME_LEN);
    };
    for (const UART::UART_COMMAND_T& command : UART::UART_COMMANDS) {
        const unsigned char status = command.code == UART::CMD_CONFIRM_TEST_MODE ? 0 : 2;
        EXPECT_EQ(answer(Frame(1, command.code)), Frame(5, command.code, {status})) << command.name;
    }
    EXPECT_EQ(answer(Frame(2, 1)), Support::ErrorFrame(5));
    close(line);

    m_program->Signal(SIGTERM);
    EXPECT_EQ(m_program->Finish(), 0);
    EXPECT_THAT(m_program->Output(), HasSubstr("testapp: ended by Terminated\n"));
    const std::string log = Support::Content(m_board + "/syslog");
    EXPECT_THAT(log, HasSubstr("[testapp]: [D] CMD_FLASH_TEST : 0000"));
    EXPECT_THAT(log, HasSubstr("[testapp]: [D] [CUARTMgr::~CUARTMgr] Close Port"));
}

TEST_F(TestApp, EndsSoonAlsoWhileAReplyIsStuck)
{
    const Support::Pty pty;
    Start(pty.Path());
    const int held = open(pty.Path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(tcflow(held, TCOOFF), 0);  // the sender now waits for the line, for up to five seconds
    pty.Write(Frame(1, UART::CMD_CONFIRM_TEST_MODE));
    ASSERT_TRUE(
        WaitFor([this] { return Support::Content(m_board + "/syslog").find("EAGAIN write") != std::string::npos; }));
    const auto start = std::chrono::steady_clock::now();
    m_program->Signal(SIGINT);
    EXPECT_EQ(m_program->Finish(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << "two seconds, and a slow machine";
    EXPECT_THAT(m_program->Output(), HasSubstr("a check is still in progress"));
    close(held);
}

struct WrongOptions {
    std::vector<std::string> options;
    int exitCode;
    const char* message;
};

class TestAppOptions : public testing::TestWithParam<WrongOptions> {};

TEST_P(TestAppOptions, AreRefusedWithAMessage)
{
    std::vector<std::string> command = GetParam().options;
    command.insert(command.begin(), TESTAPP_PROGRAM);
    Program program(command);
    EXPECT_EQ(program.Finish(), GetParam().exitCode);
    EXPECT_THAT(program.Output(), HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Options, TestAppOptions,
    testing::Values(WrongOptions{{}, 2, "--port is required"},
                    WrongOptions{{"--port", "x", "--baud", "4800"}, 2, "4800 not in"},
                    WrongOptions{{"--port", "x", "--parity", "mark"}, 2, "mark"},
                    WrongOptions{{"--port", "x", "--board-type", "2"}, 2, "2 not in"},
                    WrongOptions{{"--port", "x", "--data-bits", "9"}, 2, "9 not in range"},
                    WrongOptions{{"--port", "x", "extra"}, 2, "extra"},
                    WrongOptions{{"--port", "/nonexistent/port"}, 1, "cannot open /nonexistent/port: No such file"},
                    WrongOptions{{"--help"}, 0, "--flow-control"}));

}  // namespace
