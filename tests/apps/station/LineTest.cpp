// Several units at once, and a scanner: each unit has its own verdict, and nothing that is scanned answers for a
// person.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/run/Fixture.h"
#include "tests/support/Program.h"
#include "tests/support/Terminal.h"

using Station::Bytes;
using Support::Program;
using Support::Terminal;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

constexpr unsigned char VERSION = UART::CMD_READ_VERSION;
const std::string SHORT = "serial_number = '[A-Z0-9-]+'\n[[check]]\nkind = 'version'\n";
const std::string WITH_QUESTION = SHORT + "[[check]]\nkind = 'picture'\npicture = 'white'\nask = 'White?'\n";

class StationLine : public testing::Test {
protected:
    void SetUp() override { setenv("XDG_STATE_HOME", m_state.c_str(), 1); }
    void TearDown() override
    {
        std::remove(m_plan.c_str());
        std::filesystem::remove_all(m_state);
    }

    /// The program with a plan and these boards, and more words.
    Words Command(const std::string& action, const std::string& plan, const std::vector<const FakeBoard*>& boards,
                  const Words& more = {})
    {
        std::ofstream(m_plan) << "name = 'Short'\n" << plan;
        Words words = {STATION_PROGRAM, action, "--plan", m_plan};
        for (const FakeBoard* const board : boards) {
            words.insert(words.end(), {"--port", board->Port()});
        }
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    static std::string Expect(int exitCode, const Words& command)
    {
        Program program(command);
        EXPECT_EQ(program.Finish(), exitCode) << program.Output();
        return program.Output();
    }
    /// "[2 7] " of the second board, at /dev/pts/7.
    static std::string Label(int number, const FakeBoard& board)
    {
        return '[' + std::to_string(number) + ' ' + std::filesystem::path(board.Port()).filename().string() + "] ";
    }

    std::string m_plan = Support::TemporaryPath("plan.toml");
    std::string m_state = Support::TemporaryPath("state");
};

TEST_F(StationLine, TestsUnitsAtTheSameTimeAndJudgesEachByItself)
{
    // Each board answers only when the other one is under test as well.
    std::atomic<bool> isAsked[2] = {};
    const auto answer = [&isAsked](int own, Bytes data) {
        return [&isAsked, own, data = std::move(data)](FakeBoard& board, const Bytes& received) {
            isAsked[own] = isAsked[own] || received[2] == VERSION;
            while (isAsked[own] && !isAsked[1 - own] && !board.IsOver()) {
                std::this_thread::yield();
            }
            received[2] == VERSION ? board.Reply(received, data) : FakeBoard::Healthy(board, received);
        };
    };
    const FakeBoard good(answer(0, {0, 1, 0, 1, 0, 1, 0}));
    const FakeBoard bad(answer(1, {1}));
    std::istringstream output(Expect(1, Command("run", SHORT, {&good, &bad}, {"--unit", "A-1", "--unit", "A-2"})));
    std::string told;
    for (std::string line; std::getline(output, line); told += line + '\n') {
        EXPECT_THAT(line, AnyOf(StartsWith(Label(1, good)), StartsWith(Label(2, bad))));
    }
    EXPECT_THAT(told, AllOf(HasSubstr("unit A-1\n"), HasSubstr(Label(1, good) + "PASS: 1 passed"),
                            HasSubstr("unit A-2\n"), HasSubstr(Label(2, bad) + "FAIL: 0 passed, 1 failed")));
}

TEST_F(StationLine, APortThatVanishesLeavesTheOtherAlone)
{
    const FakeBoard gone([](FakeBoard& board, const Bytes& received) {
        received[2] == VERSION ? board.HangUp() : FakeBoard::Healthy(board, received);
    });
    const FakeBoard good(FakeBoard::Healthy);
    EXPECT_THAT(Expect(2, Command("run", SHORT, {&gone, &good}, {"--unit", "A-1", "--unit", "A-2", "--repeat", "2"})),
                AllOf(HasSubstr(Label(1, gone) + "COULD NOT RUN"), HasSubstr(Label(1, gone) + "0 of 1 runs passed"),
                      HasSubstr(Label(2, good) + "2 of 2 runs passed")));
}

TEST_F(StationLine, WhatIsNamedTwiceIsRefused)
{
    const FakeBoard board(FakeBoard::Healthy);
    const FakeBoard other(FakeBoard::Healthy);
    const std::string link = Support::TemporaryPath("by-id");
    std::filesystem::create_symlink(board.Port(), link);
    const std::pair<Words, const char*> wrong[] = {
        {Command("run", SHORT, {&board, &board}), "are the same port"},
        {Command("line", SHORT, {&board}, {"--port", link}), "are the same port"},
        {Command("run", SHORT, {&board, &other}, {"--unit", "A"}), "1 units for 2 ports"},
        {Command("run", SHORT, {&board}, {"--unit", "A", "--unit", "B"}), "2 units for 1 port"},
        {Command("run", SHORT, {&board, &other}, {"--unit", "A", "--unit", " A"}), "A is named for two ports"},
        {Command("run", SHORT, {&board, &other}, {"--json", "a.json"}), "a file holds one run"},
        {{STATION_PROGRAM, "send", "--port", board.Port(), "--port", other.Port(), "gpi_test"}, "sent to one port"},
    };
    for (const auto& [command, told] : wrong) {
        EXPECT_THAT(Expect(2, command), HasSubstr(told));
    }
    EXPECT_EQ(board.Received() + other.Received(), 0) << "a board was bothered all the same";
    std::filesystem::remove(link);
}

TEST_F(StationLine, AScannerStartsUnitsAndAnswersNothing)
{
    std::atomic<bool> mayAnswer{false};
    const auto answer = [&mayAnswer](FakeBoard& board, const Bytes& received) {
        while (received[2] == VERSION && !mayAnswer && !board.IsOver()) {
            std::this_thread::yield();
        }
        FakeBoard::Healthy(board, received);
    };
    const FakeBoard first(answer);
    const FakeBoard second(answer);
    Words command = Command("line", WITH_QUESTION, {&first, &second});
    command.insert(command.begin(), {"env", "NO_COLOR=1"});
    Terminal terminal(command);
    const auto awaits = [&terminal](const std::string& text) {
        EXPECT_TRUE(terminal.Await(text)) << "not shown: " << text << "\n" << terminal.Shown();
    };
    awaits("Serial number for port 1 ");
    terminal.Type("A-1\rB-1X\x7F\x7F\x1B[A\r");
    awaits("unit B-\r\n");
    terminal.Type("\x1B"
                  "1\x1ByZZ");  // before there is a question
    awaits("All ports are taken: ZZ");
    mayAnswer = true;
    awaits(Label(1, first) + "White?  [Alt+1 to answer it]");
    awaits(Label(2, second) + "White?  [Alt+2 to answer it]");

    terminal.Type("\x7F\x7F"
                  "7Y0N1Y8\rA-1\r\ty\tn\r\x1By");
    awaits("no port is free for 7Y0N1Y8");
    awaits("A-1 is under test on port 1");
    awaits("'y\\x09n' is no serial number of this plan");
    terminal.Type("\x1B"
                  "2");
    awaits(Label(2, second) + "White?  [Alt+Y yes, Alt+N no]");
    terminal.Type("y1\x1Bn\x1Bn");
    awaits("B-: FAIL");
    EXPECT_THAT(terminal.Shown(), Not(HasSubstr("A-1: "))) << "one key answered two questions";
    terminal.Type("\x1B"
                  "1\x1Bytail\x7F\x7F\x7F\x7F\x7F\x7F");
    awaits("A-1: PASS");
    awaits("########      ######      ########    ########");  // the head of PASS
    EXPECT_THAT(terminal.Shown(), Not(HasSubstr("\033[1;")));

    terminal.Type("A-1\rA-2\r");
    awaits("A-1 has passed before, on ");
    awaits("unit A-2");
    EXPECT_FALSE(terminal.IsAsForAShell());
    terminal.Type("\x03");
    EXPECT_EQ(terminal.Finish(), 2);
    EXPECT_THAT(terminal.Shown(), AllOf(HasSubstr("A-1: STOP"), HasSubstr("A-2: STOP"), HasSubstr("interrupted")));
    EXPECT_TRUE(terminal.IsAsForAShell());
}

TEST_F(StationLine, CtrlDLetsTheUnitInProgressFinishWithItsAnswer)
{
    const FakeBoard board(FakeBoard::Healthy);
    Terminal terminal(Command("line", WITH_QUESTION, {&board}));
    ASSERT_TRUE(terminal.Await("Serial number for port 1 "));
    terminal.Type("A-1\r");
    ASSERT_TRUE(terminal.Await("White?  [Alt+Y yes, Alt+N no]")) << terminal.Shown();
    terminal.Type("\x04"
                  "A-2\r\x1By");
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Shown();
    EXPECT_THAT(terminal.Shown(), AllOf(HasSubstr("A-1: PASS"), Not(HasSubstr("A-2: "))));
}

TEST_F(StationLine, ReadsNumbersFromAPipeAndFinishesWhatItBegan)
{
    const FakeBoard board(FakeBoard::Healthy);
    const FakeBoard other(FakeBoard::Healthy);
    const auto scan = [](const std::string& scanned, Words command) {
        command.insert(command.begin(), {"sh", "-c", "printf '" + scanned + "' | \"$@\"", "sh"});
        return command;
    };
    const Words command = Command("line", SHORT, {&board, &other});
    EXPECT_THAT(Expect(0, scan("\\n \\r\\n A-1\\r\\nA-2", command)),
                AllOf(HasSubstr(Label(1, board) + "A-1: PASS"), HasSubstr(Label(2, other) + "A-2: PASS")));
    const int before = board.Received() + other.Received();
    EXPECT_THAT(Expect(2, scan("a\\nA\\0\\n\\033[2J\\n" + std::string(300, 'A') + "\\n", command)),
                AllOf(HasSubstr("'a' is no serial number"), HasSubstr("at most 256 bytes"),
                      HasSubstr("has control characters"), Not(HasSubstr("\033[2J"))));
    EXPECT_EQ(board.Received() + other.Received(), before);
    EXPECT_THAT(Expect(2, scan("\\377\\n", Command("line", "[[check]]\nkind = 'version'\n", {&board}))),
                HasSubstr("not UTF-8"));
    EXPECT_THAT(Expect(3, scan("A\\n", Command("line", WITH_QUESTION, {&board}))),
                AllOf(HasSubstr("nobody answered: White?"), HasSubstr("\nA: VOID\n")));
}

TEST_F(StationLine, ProgressNeverWraps)
{
    const auto waiting = [](FakeBoard& self, const Bytes& received) {
        if (received[2] != UART::CMD_TOUCH_TEST) {
            FakeBoard::Healthy(self, received);
        }
    };
    const FakeBoard board(waiting);
    const FakeBoard other(waiting);
    const std::string fits(60, 'x');
    Terminal terminal(Command("run", "[[check]]\nkind = 'touch'\nscreen = '800x480'\nname = '" + fits + fits + "END'\n",
                              {&board, &other}));
    EXPECT_TRUE(terminal.Await(Label(1, board) + fits)) << terminal.Shown();
    EXPECT_TRUE(terminal.Await(Label(2, other) + fits)) << terminal.Shown();
    EXPECT_THAT(terminal.Shown(), Not(HasSubstr("END")));
    terminal.Type("\x03");
    EXPECT_EQ(terminal.Finish(), 2);
}

TEST(Fixture, WhatAUnitThrowsIsItsOwnResult)
{
    std::atomic<int> ended{0};
    Station::Fixture fixture(2, [&ended] { ++ended; });
    fixture.Start(0, []() -> int { throw std::runtime_error("the disk is full"); });
    EXPECT_EQ(fixture.FreePlace(), 1U);
    fixture.Start(1, [] { return 0; });
    EXPECT_FALSE(fixture.FreePlace());
    ASSERT_TRUE(Support::WaitFor([&] { return ended == 2; }));
    const auto first = fixture.TakeEnded();
    const auto second = fixture.TakeEnded();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(std::pair(first->exitCode, first->problem), std::pair(2, std::string("the disk is full")));
    EXPECT_EQ(std::pair(second->place, second->exitCode), std::pair(std::size_t{1}, 0));
    EXPECT_TRUE(fixture.IsIdle());
    EXPECT_EQ(Station::WorseExitCode(0, 3), 3);
    EXPECT_EQ(Station::WorseExitCode(3, 1), 1);
    EXPECT_EQ(Station::WorseExitCode(2, 1), 2);
    EXPECT_EQ(Station::WorseExitCode(1, 2), 2);
}

}  // namespace
