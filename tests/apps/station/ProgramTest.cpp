// The program as a script sees it: output, files and exit codes.
#include "tests/support/Program.h"

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "tests/support/SimulatedBoard.h"

using Station::Bytes;
using Support::Content;
using Support::Program;
using Support::TemporaryPath;
using testing::HasSubstr;

namespace {

std::vector<std::string> Command(const std::string& port, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {STATION_PROGRAM, "--port", port});
    return arguments;
}

/// Runs the program to its end and expects this exit code; returns what it printed.
std::string Expect(int exitCode, const std::string& port, const std::vector<std::string>& arguments)
{
    Program program(Command(port, arguments));
    EXPECT_EQ(program.Finish(), exitCode) << program.Output();
    return program.Output();
}

}  // namespace

TEST(ProgramTest, RunOfHealthyBoardPassesItsTargetsAndWritesRecords)
{
    FakeBoard board(FakeBoard::Healthy);
    const std::string json = TemporaryPath("record.json");
    const std::string junit = TemporaryPath("record.xml");
    const std::string file = "/tmp/" + std::string(19, 'f');
    const std::string output =
        Expect(0, board.Port(),
               {"run", "--json", json, "--junit", junit, "--unit", "A-17", "--disk", "2", "--file", file, "--ping",
                "192.0.2.1", "--interface", "eth0", "--screen", "806x480"});
    EXPECT_THAT(output, testing::AllOf(HasSubstr("  1  CMD_READ_VERSION             PASS"),
                                       HasSubstr("inputs 5A C3, as driven\n"), HasSubstr("disk 2 mounts\n"),
                                       HasSubstr(file + " reads back"), HasSubstr("answer from 192.0.2.1\n"),
                                       HasSubstr("eth0 has"), HasSubstr("5 points within 6 px\n"),
                                       HasSubstr("\nPASS: 20 passed, 0 failed, 4 skipped, 24 of 24 checks in ")));
    const nlohmann::json record = nlohmann::json::parse(Content(json));
    EXPECT_EQ(record["unit"], "A-17");
    EXPECT_EQ(record["checks"].size(), 24U);
    EXPECT_EQ(record["checks"][3]["values"], nlohmann::json::parse(R"({"inputs": [165, 60], "expected": [165, 60]})"));
    EXPECT_EQ(record["checks"][23]["values"], nlohmann::json::parse(R"({
        "touches": [50, 53, 750, 50, 750, 430, 50, 430, 400, 240],
        "expected": [50, 50, 756, 50, 756, 430, 50, 430, 403, 240]})"));
    EXPECT_THAT(Content(junit), HasSubstr(R"(tests="24" failures="0" errors="0" skipped="4")"));
    std::filesystem::remove(json);
    std::filesystem::remove(junit);
}

TEST(ProgramTest, PersonAtATerminalIsToldWhatToDo)
{
    const std::string task = "Touch the five targets";
    FakeBoard board(FakeBoard::Healthy);
    const std::string command = std::string(STATION_PROGRAM) + " --port " + board.Port() + " send ";
    Program atTerminal({"script", "-qec", command + "touch_test 30", "/dev/null"});
    EXPECT_EQ(atTerminal.Finish(), 0);
    EXPECT_THAT(atTerminal.Output(), testing::ContainsRegex(task + ".*\n.*10  CMD_TOUCH_TEST +PASS"));
    Program another({"script", "-qec", command + "gpi_test", "/dev/null"});
    EXPECT_EQ(another.Finish(), 0);
    EXPECT_THAT(another.Output(), testing::Not(HasSubstr("Touch")));
    EXPECT_THAT(Expect(0, board.Port(), {"send", "touch_test", "30"}), testing::Not(HasSubstr(task)));
}

TEST(ProgramTest, FailedCheckGivesExitCodeOne)
{
    FakeBoard board([](FakeBoard& self, const Bytes& received) {
        received[2] == UART::CMD_RTC_TEST ? self.Reply(received, {1}) : FakeBoard::Healthy(self, received);
    });
    EXPECT_THAT(Expect(1, board.Port(), {"run"}), HasSubstr("\nFAIL: 18 passed, 2 failed, 4 skipped"));
    EXPECT_THAT(Expect(0, board.Port(), {"bad-frames"}), HasSubstr("\nPASS: 5 passed"));
    EXPECT_THAT(Expect(0, board.Port(), {"--hex", "send", "comm_test", "run", "0x31"}),
                testing::AllOf(HasSubstr("> 5A 01 02 72 75 6E 31 00"), HasSubstr("< 5A 01 02 00")));
    Expect(1, board.Port(), {"send", "ram_test"});
    Expect(1, board.Port(), {"--retries", "0", "send", "0x55"});
    EXPECT_THAT(Expect(2, board.Port(), {"run", "--json", "/dev/full"}), HasSubstr("cannot write /dev/full"));
}

TEST(ProgramTest, CannotRun)
{
    FakeBoard board(FakeBoard::Healthy);
    Program withoutPort({STATION_PROGRAM, "run"});
    EXPECT_EQ(withoutPort.Finish(), 2);
    Expect(2, "/nonexistent/port", {"run"});
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"run", "--baud", "1200"},
        {"run", "--timeout", "nan"},
        {"run", "--json", "/nonexistent/record.json"},
        {"run", "--json", "same", "--junit", "same"},
        {"run", "--unit", "\xFF"},
        {"run", "--disk", "3"},
        {"run", "--file", ""},
        {"run", "--file", "/mnt/usb/" + std::string(16, 'a')},
        {"run", "--ping", "example.com"},
        {"run", "--interface", std::string(16, 'a')},
        {"run", "--screen", "800"},
        {"run", "--screen", "99x480"},
        {"run", "--tolerance", "-1"},
        {"send", "no_such_command"},
        {"send", "comm_test", "256"},
    };
    for (const auto& arguments : wrong) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        Expect(2, board.Port(), arguments);
    }
    EXPECT_EQ(board.Received(), 0) << "the board was bothered all the same";
    Expect(0, board.Port(), {"--help"});
    EXPECT_THAT(Expect(0, board.Port(), {"list"}), HasSubstr("\n  8  CMD_EXT_DEVICE_TEST/ping     Ping"));
}

TEST(ProgramTest, SetsTheLineUpAsItsOptionsSay)
{
    const std::pair<std::vector<std::string>, const char*> lines[] = {
        {{}, "115200 8N1\n"},
        {{"--baud", "9600", "--parity", "odd"}, "9600 8O1\n"},
        {{"--baud", "57600", "--data-bits", "7", "--parity", "even"}, "57600 7E1\n"},
        {{"--data-bits", "5", "--stop-bits", "2", "--flow-control", "hardware"}, "115200 5N2 rts/cts\n"},
    };
    for (const auto& [options, settings] : lines) {
        std::vector<std::string> command = {STATION_PROGRAM, "--port", "/dev/ttyS0", "--retries", "0",
                                            "--timeout",     "0.001",  "send",       "gpi_test"};
        command.insert(command.end(), options.begin(), options.end());
        Support::SimulatedBoard board(SIMBOARD_PROGRAM, {}, command);
        EXPECT_EQ(board.Running().Finish(), 1) << board.Running().Output();
        EXPECT_EQ(Content(board.File("ttyS0.settings")), settings);
    }
}

TEST(ProgramTest, RepeatsACommandOnceUnlessToldOtherwise)
{
    FakeBoard board([](FakeBoard& self, const Bytes&) { self.Send(Station::MakeErrorFrame(1)); });
    EXPECT_THAT(Expect(1, board.Port(), {"send", "gpi_test"}), HasSubstr("(2 attempts)"));
    EXPECT_THAT(Expect(1, board.Port(), {"send", "gpi_test", "--retries", "2"}), HasSubstr("(3 attempts)"));
    EXPECT_EQ(board.Received(), 5);
}

TEST(ProgramTest, SecondErrorFrameForABadFrameFails)
{
    FakeBoard board([](FakeBoard& self, const Bytes& received) {
        FakeBoard::Healthy(self, received);
        if (received != Station::MakeFrame(1, UART::CMD_CONFIRM_TEST_MODE, {})) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the real board reads on after 10 ms
            self.Send(Station::MakeErrorFrame(1));
        }
    });
    const std::string output = Expect(1, board.Port(), {"bad-frames"});
    const std::string twice = Station::Hex(Station::MakeErrorFrame(1)) + " " + Station::Hex(Station::MakeErrorFrame(1));
    EXPECT_THAT(output, testing::ContainsRegex("noise +FAIL.*expected one error frame, received " + twice + "\n"));
    EXPECT_THAT(output, HasSubstr("0 passed, 5 failed"));
}

TEST(ProgramTest, KeepsALittleOfMuchNoise)
{
    constexpr std::size_t NOISE = 500000;
    FakeBoard board([](FakeBoard& self, const Bytes& received) {
        if (self.Received() == 1) {
            self.Send(Bytes(NOISE, 0xAA));
        }
        FakeBoard::Healthy(self, received);
    });
    const std::string json = TemporaryPath("noise.json");
    EXPECT_THAT(Expect(0, board.Port(), {"run", "--json", json}), HasSubstr("(434464 more bytes of noise came"));
    const nlohmann::json check = nlohmann::json::parse(Content(json))["checks"][0];
    std::size_t kept = 0;
    std::size_t dropped = 0;
    for (const auto& entry : check["frames"]) {
        kept += entry["kind"] == "noise" ? (entry["hex"].get<std::string>().size() + 1) / 3 : 0;
        dropped += entry.value("dropped_bytes", std::size_t{0});
    }
    EXPECT_EQ(kept, 64U * 1024U);
    EXPECT_EQ(dropped, NOISE - kept);
    std::filesystem::remove(json);
}

TEST(ProgramTest, PrintsNothingToTheBoardWhenItsOutputIsClosed)
{
    const Support::Pty line;
    const std::string closed = std::string("exec ") + STATION_PROGRAM + " --port " + line.Path() +
                               " --retries 0 --timeout 0.001 send gpi_test >&-";
    Program program({"sh", "-c", closed});
    EXPECT_EQ(program.Finish(), 1);
    const Bytes sent = Station::MakeFrame(1, UART::CMD_GPI_TEST, {});
    EXPECT_EQ(line.Read(1000), Support::Bytes(sent.begin(), sent.end()));
}

class ProgramSignalTest : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Signals, ProgramSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(ProgramSignalTest, InterruptedRunWritesItsRecord)
{
    std::atomic<bool> waiting{false};
    FakeBoard board([&waiting](FakeBoard& self, const Bytes& received) {
        received[2] == UART::CMD_TOUCH_TEST ? waiting.store(true) : FakeBoard::Healthy(self, received);
    });
    const std::string json = TemporaryPath("interrupted.json");
    Program program(Command(board.Port(), {"run", "--json", json}));
    while (!waiting) {
        std::this_thread::yield();
    }
    program.Signal(GetParam());
    EXPECT_EQ(program.Finish(), 2) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("ABORTED: 19 passed, 0 failed, 4 skipped, 24 of 24 checks"));
    const nlohmann::json record = nlohmann::json::parse(Content(json));
    EXPECT_EQ(record["aborted"], true);
    EXPECT_EQ(record["checks"].back()["result"], "ABORTED");
    std::filesystem::remove(json);
}
