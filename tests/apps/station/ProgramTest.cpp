// The program as a script sees it: output, files and exit codes.
#include "tests/support/Program.h"

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include "FakeBoard.h"

using Station::Bytes;
using Support::Content;
using Support::Program;
using Support::TemporaryPath;
using testing::HasSubstr;

namespace {

std::vector<std::string> Command(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), STATION_PROGRAM);
    return arguments;
}

/// Runs the program to its end and expects this exit code; returns what it printed.
std::string Expect(int exitCode, std::vector<std::string> arguments)
{
    Program program(Command(std::move(arguments)));
    const int code = program.Finish();
    EXPECT_EQ(code, exitCode) << program.Output();
    return program.Output();
}

}  // namespace

TEST(ProgramTest, RunOfHealthyBoardPassesAndWritesRecords)
{
    FakeBoard board(FakeBoard::Healthy);
    const std::string json = TemporaryPath("record.json");
    const std::string junit = TemporaryPath("record.xml");
    const std::string output =
        Expect(0, {"--port", board.Port(), "run", "--json", json, "--junit", junit, "--unit", "A-17"});
    EXPECT_THAT(output, HasSubstr("  1  CMD_READ_VERSION             PASS"));
    EXPECT_THAT(output, HasSubstr("inputs 5A C3, as driven\n"));
    EXPECT_THAT(output, HasSubstr("\nPASS: 16 passed, 0 failed, 4 skipped, 20 of 20 checks in "));
    const nlohmann::json record = nlohmann::json::parse(Content(json));
    EXPECT_EQ(record["unit"], "A-17");
    EXPECT_EQ(record["checks"][3]["values"], nlohmann::json::parse(R"({"inputs": [165, 60], "expected": [165, 60]})"));
    EXPECT_EQ(record["checks"].size(), 20U);
    EXPECT_THAT(Content(junit), HasSubstr(R"(tests="20" failures="0" errors="0" skipped="4")"));
    std::filesystem::remove(json);
    std::filesystem::remove(junit);
    EXPECT_THAT(Expect(2, {"--port", board.Port(), "run", "--json", "/dev/full"}), HasSubstr("cannot write /dev/full"));
}

TEST(ProgramTest, FailedCheckGivesExitCodeOne)
{
    FakeBoard board([](FakeBoard& self, const Bytes& received) {
        received[2] == UART::CMD_RTC_TEST ? self.Send(FakeBoard::Reply(received, {1}))
                                          : FakeBoard::Healthy(self, received);
    });
    EXPECT_THAT(Expect(1, {"run", "--port", board.Port()}), HasSubstr("\nFAIL: 14 passed, 2 failed, 4 skipped"));
    EXPECT_THAT(Expect(0, {"bad-frames", "--port", board.Port()}), HasSubstr("\nPASS: 5 passed"));
}

TEST(ProgramTest, SendShowsFramesAndJudgesTheReply)
{
    FakeBoard board(FakeBoard::Healthy);
    const std::string output = Expect(0, {"--hex", "--port", board.Port(), "send", "comm_test", "run", "0x31"});
    EXPECT_THAT(output, HasSubstr("> 5A 01 02 72 75 6E 31 00"));
    EXPECT_THAT(output, HasSubstr("< 5A 01 02 00"));
    Expect(1, {"--port", board.Port(), "send", "ram_test"});
    Expect(1, {"--port", board.Port(), "--retries", "0", "send", "0x55"});
}

TEST(ProgramTest, RunPassesItsTargetsToTheBoard)
{
    FakeBoard board(FakeBoard::Healthy);
    const std::string output =
        Expect(0, {"--port", board.Port(), "run", "--disk", "2", "--file", "/tmp/" + std::string(19, 'f'), "--ping",
                   "192.0.2.1", "--interface", "eth0"});
    for (const char* words : {"disk 2 mounts\n", "/tmp/fffffffffffffffffff reads back as written\n",
                              "answer from 192.0.2.1\n", "eth0 has 10.0.0.1\n"}) {
        EXPECT_THAT(output, HasSubstr(words));
    }
}

TEST(ProgramTest, CannotRun)
{
    FakeBoard board(FakeBoard::Healthy);
    const std::string& port = board.Port();
    Expect(2, {});
    Expect(2, {"run"});
    Expect(2, {"run", "--port", "/nonexistent/port"});
    Expect(2, {"run", "--port", port, "--baud", "1200"});
    Expect(2, {"run", "--port", port, "--timeout", "nan"});
    Expect(2, {"run", "--port", port, "--json", "/nonexistent/record.json"});
    Expect(2, {"run", "--port", port, "--json", "same", "--junit", "same"});
    Expect(2, {"run", "--port", port, "--unit", "\xFF"});
    Expect(2, {"run", "--port", port, "--disk", "3"});
    Expect(2, {"run", "--port", port, "--file", ""});
    Expect(2, {"run", "--port", port, "--file", "/mnt/usb/" + std::string(16, 'a')});
    Expect(2, {"run", "--port", port, "--ping", "example.com"});
    Expect(2, {"run", "--port", port, "--interface", std::string(16, 'a')});
    Expect(2, {"send", "--port", port, "no_such_command"});
    Expect(2, {"send", "--port", port, "comm_test", "256"});
    EXPECT_EQ(board.Received(), 0) << "the board was bothered all the same";
    Expect(0, {"--help"});
    Expect(0, {"--version"});
    EXPECT_THAT(Expect(0, {"list"}), HasSubstr("\n  8  CMD_EXT_DEVICE_TEST/ping     Ping"));
}

TEST(ProgramTest, InterruptedRunWritesItsRecord)
{
    std::atomic<bool> waiting{false};
    FakeBoard board([&waiting](FakeBoard& self, const Bytes& received) {
        received[2] == UART::CMD_TOUCH_TEST ? waiting.store(true) : FakeBoard::Healthy(self, received);
    });
    const std::string json = TemporaryPath("interrupted.json");
    Program program(Command({"run", "--port", board.Port(), "--json", json}));
    while (!waiting) {
        std::this_thread::yield();
    }
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish(), 2) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("ABORTED: 15 passed, 0 failed, 4 skipped, 20 of 20 checks"));
    const nlohmann::json record = nlohmann::json::parse(Content(json));
    EXPECT_EQ(record["aborted"], true);
    EXPECT_EQ(record["checks"].back()["result"], "ABORTED");
    std::filesystem::remove(json);
}
