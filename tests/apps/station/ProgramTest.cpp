// The program as a person and a script see it: output, files, questions and exit codes.
#include "tests/support/Program.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "FakeBoard.h"
#include "apps/station/report/ReportFile.h"
#include "tests/support/SimulatedBoard.h"
#include "tests/support/Terminal.h"

using Station::Bytes;
using Support::Content;
using Support::Program;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

using Words = std::vector<std::string>;

class StationProgram : public testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(m_folder);
        setenv("XDG_STATE_HOME", (m_folder + "-state").c_str(), 1);
    }
    void TearDown() override
    {
        std::filesystem::remove_all(m_folder);
        std::filesystem::remove_all(m_folder + "-state");
    }

    [[nodiscard]] std::string File(const std::string& name) const { return m_folder + '/' + name; }
    /// A plan file.
    [[nodiscard]] std::string Plan(const std::string& toml) const
    {
        std::ofstream(File("plan.toml")) << "name = 'Short'\nversion = '7'\n" << toml;
        return File("plan.toml");
    }
    /// Runs the program to its end and expects this exit code; returns what it printed.
    static std::string Expect(int exitCode, Words words)
    {
        words.insert(words.begin(), STATION_PROGRAM);
        Program program(words);
        EXPECT_EQ(program.Finish(), exitCode) << program.Output();
        return program.Output();
    }
    static std::string ExpectRun(int exitCode, const FakeBoard& board, const std::string& plan, const Words& more = {})
    {
        Words words = {"run", "--port", board.Port(), "--plan", plan};
        words.insert(words.end(), more.begin(), more.end());
        return Expect(exitCode, words);
    }

    std::string m_folder = Support::TemporaryPath("station");
};

const std::string SHORT = "[[check]]\nkind = 'confirm'\n[[check]]\nkind = 'version'\nhint = 'Look.'\n";

TEST_F(StationProgram, TestsAUnitAndKeepsItsRecord)
{
    const FakeBoard board(FakeBoard::Healthy);
    const std::string plan = Plan(SHORT + "serial_number = 'A-[0-9]+'\n");
    std::ofstream(plan) << "name = 'Short'\nserial_number = 'A-[0-9]+'\n" << SHORT;
    const std::string output = ExpectRun(
        0, board, plan,
        {"--unit", " A-17\r\n", "--operator", "<Ann> & \"Bob\"", "--json", File("a.json"), "--junit", File("a.xml")});
    EXPECT_THAT(output, AllOf(HasSubstr("version                   PASS"),
                              HasSubstr("\nPASS: 2 passed, 0 failed, 0 not carried out, 2 of 2 checks in ")));
    const auto record = nlohmann::json::parse(Content(File("a.json")));
    EXPECT_EQ(record["unit"], "A-17") << "what a scanner types around a number does not belong to it";
    EXPECT_EQ(record["verdict"], "PASS");
    EXPECT_EQ(record["checks"][1]["values"][0]["value"], "1 0 1");
    EXPECT_THAT(Content(File("a.xml")),
                AllOf(HasSubstr(R"(tests="2" failures="0" errors="0" skipped="0")"),
                      HasSubstr(R"(name="unit" value="A-17")"), HasSubstr("&lt;Ann&gt; &amp; &quot;Bob&quot;")));
    const mode_t mask = umask(0);
    umask(mask);
    for (const char* const name : {"a.json", "a.xml"}) {
        EXPECT_EQ(std::filesystem::status(File(name)).permissions(),
                  static_cast<std::filesystem::perms>(DEFFILEMODE & ~mask))
            << "as of any other file: " << name;
    }
    EXPECT_THAT(ExpectRun(2, board, plan, {"--unit", "A-17", "--json", File("a.json")}),
                HasSubstr("it holds another run"));
    ExpectRun(0, board, plan, {"--unit", "A-18", "--json", File("a.json"), "--overwrite"});
    EXPECT_EQ(nlohmann::json::parse(Content(File("a.json")))["unit"], "A-18");
    EXPECT_THAT(ExpectRun(2, board, plan), HasSubstr("the plan asks for the unit's serial number"));
    EXPECT_THAT(ExpectRun(2, board, plan, {"--unit", "B-1"}), HasSubstr("'B-1' is no serial number of this plan"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 3)
        << "plan, JSON and JUnit, nothing unfinished";
}

/// Python's own validators read the records, whatever their texts hold.
TEST_F(StationProgram, RecordsAreValid)
{
    const FakeBoard board(FakeBoard::Replying(UART::CMD_READ_VERSION, {1}));
    const std::string plan = Plan(SHORT);
    ExpectRun(1, board, plan,
              {"--unit", "\u00fc <&>\"' \x01 \u2028", "--json", File("a.json"), "--junit", File("a.xml")});
    ExpectRun(3, board, plan, {"--only", "confirm", "--json", File("b.json"), "--junit", File("b.xml")});
    Expect(2,
           {"run", "--port", "/nonexistent/port", "--plan", plan, "--json", File("c.json"), "--junit", File("c.xml")});
    const std::string check = "import sys, json, jsonschema, xml.etree.ElementTree as tree\n"
                              "schema = json.load(open(sys.argv[1]))\n"
                              "for name in 'abc':\n"
                              "    jsonschema.validate(json.load(open(f'{sys.argv[2]}/{name}.json')), schema)\n"
                              "    tree.parse(f'{sys.argv[2]}/{name}.xml')\n";
    EXPECT_THAT(Content(File("b.xml")), HasSubstr("skipped message=\"left out\"")) << "no success for a build server";
    Program python({"/usr/bin/python3", "-c", check, RECORD_SCHEMA, m_folder});
    EXPECT_EQ(python.Finish(), 0) << python.Output();
}

TEST_F(StationProgram, AFolderGetsTheFilesOfEachRun)
{
    const FakeBoard board(FakeBoard::Healthy);
    const std::string plan = Plan("[[check]]\nkind = 'confirm'\n");
    ExpectRun(0, board, plan, {"--unit", "../A 1", "--repeat", "2", "--record-dir", File("runs/new")});
    ExpectRun(0, board, plan, {"--unit", std::string(256, '/'), "--record-dir", File("runs/new")});
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(File("runs/new"))) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    ASSERT_EQ(names.size(), 6U);
    EXPECT_THAT(names[2], testing::MatchesRegex("%2E\\.%2FA%201_20.*Z\\.json"));

    const FakeBoard other(FakeBoard::Healthy);  // at a port of the same name, tested at the same moment
    Words command = {"run", "--plan", plan, "--repeat", "20", "--record-dir", File("runs/same")};
    for (const auto& [name, port] : {std::pair("1", board.Port()), {"2", other.Port()}}) {
        std::filesystem::create_directory(File(name));
        std::filesystem::create_symlink(port, File(name) + std::string("/tty"));
        command.insert(command.end(), {"--port", File(name) + std::string("/tty")});
    }
    Expect(0, command);
}

TEST_F(StationProgram, TwoRunsAtOnceLoseNoRecord)
{
    Station::ReportFile first(File("a.json"), false);
    Station::ReportFile second(File("a.json"), false);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder)) << "a station that is killed leaves nothing";
    first.Prepare("first");
    second.Prepare("none");
    second.Prepare("second");
    first.Publish();
    std::string told;
    try {
        second.Publish();
    } catch (const std::runtime_error& error) {
        told = error.what();
    }
    const std::string where = "another run has written it meanwhile; this run's is in ";
    ASSERT_THAT(told, HasSubstr(where));
    EXPECT_EQ(Content(told.substr(told.find(where) + where.size())), "second");
    EXPECT_EQ(Content(File("a.json")), "first");
}

TEST_F(StationProgram, AUnitWithoutItsFilesHasNotPassed)
{
    const std::string plan =
        Plan("[[check]]\nkind = 'program'\ncommand = ['rm', '-r', '" + File("gone") + "']\n" + SHORT);
    const std::pair<const FakeBoard::Answer, const char*> boards[] = {
        {FakeBoard::Healthy, "COULD NOT RUN"},
        {FakeBoard::Replying(UART::CMD_READ_VERSION, {1}), "FAIL"},
    };
    for (const auto& [answer, verdict] : boards) {
        const FakeBoard board(answer);
        std::filesystem::create_directory(File("gone"));
        EXPECT_THAT(ExpectRun(2, board, plan, {"--json", File("a.json"), "--overwrite", "--junit", File("gone/a.xml")}),
                    HasSubstr("cannot write " + File("gone/a.xml")));
        EXPECT_THAT(Expect(0, {"history", "--limit", "1"}), HasSubstr(verdict));
        EXPECT_THAT(Content(File("a.json")), HasSubstr(std::string("\"verdict\": \"") + verdict + '"'));
    }
}

TEST_F(StationProgram, ExitCodesTellWhatBecameOfTheUnit)
{
    const FakeBoard healthy(FakeBoard::Healthy);
    const FakeBoard broken(FakeBoard::Replying(UART::CMD_READ_VERSION, {1}));
    const std::string plan = Plan(SHORT);
    EXPECT_THAT(ExpectRun(1, broken, plan), AllOf(HasSubstr("Hint: Look.\n"), HasSubstr("\nFAIL: 1 passed, 1 failed")));
    EXPECT_THAT(ExpectRun(3, healthy, plan, {"--skip", "version"}), HasSubstr("PASSED, NOT COUNTED: 1 passed"));
    EXPECT_THAT(ExpectRun(2, healthy, plan, {"--skip", "versoin"}), HasSubstr("did you mean 'version'?"));
    EXPECT_THAT(ExpectRun(0, healthy, plan, {"--repeat", "3"}), HasSubstr("3 of 3 runs passed, 3 were asked for"));
    EXPECT_THAT(ExpectRun(1, broken, plan, {"--repeat", "3"}), HasSubstr("0 of 1 runs passed, 3 were asked for"));
    EXPECT_THAT(ExpectRun(1, broken, plan, {"--repeat", "3", "--keep-going"}), HasSubstr("0 of 3 runs passed"));
    EXPECT_THAT(ExpectRun(2, healthy, Plan("[[check]]\nkind = 'pign'\n")),
                HasSubstr("plan.toml:4:8: 'kind': there is no kind 'pign'"));
    EXPECT_THAT(Expect(2, {"run", "--port", healthy.Port()}), HasSubstr("--set host=VALUE"));
}

TEST_F(StationProgram, WhatWasTypedWrongIsNamedAndNothingIsSent)
{
    const FakeBoard board(FakeBoard::Healthy);
    const std::pair<Words, const char*> wrong[] = {
        {{}, "subcommand"},
        {{"rum"}, "did you mean run?"},
        {{"run", "--untit", "A"}, "did you mean --unit?"},
        {{"run"}, "--port is required"},
        {{"run", "--port", "x", "--baud", "1200"}, "1200 not in"},
        {{"run", "--port", "x", "--timeout", "nan"}, "--timeout"},
        {{"run", "--port", "x", "--set", "host"}, "expected NAME=VALUE"},
        {{"run", "--port", "x", "--json", "same", "--junit", "same"}, "names the same file"},
        {{"run", "--port", "x", "--json", "same", "--junit", "./same"}, "names the same file"},
        {{"run", "--port", "x", "--repeat", "2", "--json", "a"}, "a file holds one run"},
        {{"run", "--port", board.Port(), "--plan", "/nonexistent"}, "/nonexistent: cannot be read"},
        {{"run", "--port", board.Port(), "--plan", m_folder}, ": cannot be read"},
        {{"plan", "/dev/zero"}, "larger than 1 MiB"},
        {{"run", "--port", board.Port(), "--plan", Plan(SHORT), "--unit", "\xFF"}, "not UTF-8"},
        {{"run", "--port", board.Port(), "--plan", Plan(SHORT), "--json", "/nonexistent/a.json"},
         "cannot write /nonexistent/a.json"},
        {{"run", "--port", board.Port(), "--plan", Plan(SHORT), "--json", "/dev/full"}, "it is no regular file"},
        {{"send", "--port", board.Port(), "gpi_tset"}, "did you mean CMD_GPI_TEST?"},
        {{"send", "--port", board.Port(), "comm_test", "256"}, "256 does not fit a byte"},
        {{"send", "--port", board.Port(), "comm_test", std::string(27, 'a')}, "at most 26 data bytes, not 27"},
        {{"run", "--port", board.Port(), "--plan", Plan(SHORT), "--only", "confrim"}, "did you mean 'confirm'?"},
    };
    for (const auto& [words, told] : wrong) {
        EXPECT_THAT(Expect(2, words), HasSubstr(told));
    }
    EXPECT_EQ(board.Received(), 0) << "the board was bothered all the same";
}

TEST_F(StationProgram, PlansAreShownAndChecked)
{
    const std::string text = Expect(0, {"plan"});
    std::ofstream(File("mine.toml")) << text;
    EXPECT_THAT(Expect(2, {"plan", File("mine.toml")}),
                AllOf(HasSubstr("'host' is missing"), HasSubstr("'interface' is missing")));
    EXPECT_THAT(Expect(0, {"plan", File("mine.toml"), "--set", "host=192.0.2.1", "--set", "interface=eth0"}),
                AllOf(HasSubstr(": 20 checks\n"), HasSubstr("ping                      Ping 192.0.2.1\n"),
                      Not(HasSubstr("Note:"))));
    EXPECT_THAT(Expect(0, {"plan", Plan("[[check]]\nkind = 'pwm'\nsetting = 1\n")}),
                HasSubstr("Note: pwm will count as not carried out"));
    EXPECT_THAT(Expect(0, {"plan", Plan("[[check]]\nkind = 'wrong_frame'\nframe = 'cut'\noptional = true\n"
                                        "[[check]]\nkind = 'question'\nask = 'Does it hum?'\n")}),
                AllOf(HasSubstr("Send a frame that is wrong on purpose: cut"), HasSubstr("Ask the operator")));
}

TEST_F(StationProgram, SendsSingleCommands)
{
    const FakeBoard board(FakeBoard::Healthy);
    EXPECT_THAT(Expect(0, {"send", "--port", board.Port(), "gpi_test"}),
                AllOf(HasSubstr("CMD_GPI_TEST              PASS"), HasSubstr(" s  3F\n")));
    EXPECT_THAT(
        Expect(0, {"--hex", "--port", board.Port(), "send", "comm_test", "run", "0x31", "0X32", "51", "text:12"}),
        AllOf(HasSubstr("> 5A 01 02 72 75 6E 31 32 33 31 32 00"), HasSubstr("< 5A 01 02 00"),
              HasSubstr("every value is 0")));
    EXPECT_THAT(Expect(0, {"send", "--port", board.Port(), "CMD_EXT_DEVICE_TEST", "3", "lo"}),
                HasSubstr("31 39 32 2E 31 36 38 2E 31 2E 31 30 \"192.168.1.10\"\n"));
    EXPECT_THAT(Expect(1, {"send", "--port", board.Port(), "ram_test"}), HasSubstr("does not support"));
    const FakeBoard broken(FakeBoard::Replying(UART::CMD_RAM_TEST, {1, 7}));
    EXPECT_THAT(Expect(1, {"send", "--port", broken.Port(), "ram_test"}),
                HasSubstr("the check failed on the board, with 07: see"));
    const FakeBoard refusing([](FakeBoard& self, const Bytes&) { self.Send(Station::MakeErrorFrame(1)); });
    Expect(1, {"send", "--port", refusing.Port(), "gpi_test"});
    EXPECT_EQ(refusing.Received(), 2) << "repeated once unless told otherwise";
    Expect(1, {"send", "--port", refusing.Port(), "gpi_test", "--retries", "2"});
    EXPECT_EQ(refusing.Received(), 5);

    const FakeBoard silent([](FakeBoard&, const Bytes&) {});
    Support::Terminal waiting({STATION_PROGRAM, "send", "--port", silent.Port(), "gpi_test", "--timeout", "600"});
    EXPECT_TRUE(waiting.Await("CMD_GPI_TEST: 0 of 600 s")) << waiting.Shown();
    waiting.Type("\x03");
    EXPECT_EQ(waiting.Finish(), 2);
}

TEST_F(StationProgram, SetsTheLineUpAsItsOptionsSay)
{
    const std::pair<Words, const char*> lines[] = {
        {{}, "115200 8N1\n"},
        {{"--baud", "9600", "--parity", "odd"}, "9600 8O1\n"},
        {{"--baud", "57600", "--data-bits", "7", "--parity", "even"}, "57600 7E1\n"},
        {{"--baud", "19200", "--data-bits", "6"}, "19200 6N1\n"},
        {{"--baud", "38400"}, "38400 8N1\n"},
        {{"--data-bits", "5", "--stop-bits", "2", "--flow-control", "hardware"}, "115200 5N2 rts/cts\n"},
    };
    for (const auto& [options, settings] : lines) {
        Words command = {STATION_PROGRAM, "--port", "/dev/ttyS0", "--retries", "0",
                         "--timeout",     "0.001",  "send",       "gpi_test"};
        command.insert(command.end(), options.begin(), options.end());
        Support::SimulatedBoard board(SIMBOARD_PROGRAM, {}, command);
        EXPECT_EQ(board.Running().Finish(), 1) << board.Running().Output();
        EXPECT_EQ(Content(board.File("ttyS0.settings")), settings);
    }
}

TEST_F(StationProgram, PrintsNothingToTheBoardWhenItsOutputIsClosed)
{
    const Support::Pty line;
    const std::string closed = std::string("exec ") + STATION_PROGRAM + " --port " + line.Path() +
                               " --retries 0 --timeout 0.001 send gpi_test >&-";
    Program program({"sh", "-c", closed});
    EXPECT_EQ(program.Finish(), 1);
    const Bytes sent = Station::MakeFrame(1, UART::CMD_GPI_TEST, {});
    EXPECT_EQ(line.Read(1000), Support::Bytes(sent.begin(), sent.end()));
}

TEST_F(StationProgram, AnOperatorAnswersWithAltAndAScannerDoesNot)
{
    const FakeBoard board(FakeBoard::Healthy);
    const std::string question = "[[check]]\nkind = 'picture'\npicture = 'white'\nask = 'Is it white?'\n";
    const std::string plan = Plan(question);
    for (const auto& [keys, exitCode] : {std::pair{"\x1By", 0}, {"\x1BN", 1}}) {
        Support::Terminal terminal({STATION_PROGRAM, "run", "--port", board.Port(), "--plan", plan});
        ASSERT_TRUE(terminal.Await("Is it white?  [Alt+Y yes, Alt+N no]")) << terminal.Shown();
        terminal.Type("7Y0N1Y8\r");
        terminal.Type("y\nn\n");
        terminal.Type(keys);
        EXPECT_EQ(terminal.Finish(), exitCode) << terminal.Shown();
        EXPECT_THAT(terminal.Shown(), HasSubstr(exitCode == 0 ? "\033[1;32mPASS" : "\033[1;31mFAIL"));
    }
    Support::Terminal stopped({"env", "NO_COLOR=1", STATION_PROGRAM, "run", "--port", board.Port(), "--plan", plan});
    ASSERT_TRUE(stopped.Await("Is it white?"));
    stopped.Type("\x03");
    EXPECT_EQ(stopped.Finish(), 2);
    EXPECT_THAT(stopped.Shown(),
                AllOf(HasSubstr("COULD NOT RUN"), HasSubstr("interrupted"), Not(HasSubstr("\033[1;"))));
    EXPECT_THAT(ExpectRun(3, board, plan), HasSubstr("nobody answered: Is it white?"));

    const FakeBoard slow([](FakeBoard& self, const Bytes& received) {
        if (received[2] != UART::CMD_GPI_TEST) {
            FakeBoard::Healthy(self, received);
        }
    });
    const std::string more = "[[check]]\nkind = 'inputs'\nexpect = [1, 2]\ntimeout = 600\n";
    Support::Terminal answered({STATION_PROGRAM, "run", "--port", slow.Port(), "--plan", Plan(question + more)});
    ASSERT_TRUE(answered.Await("Is it white?"));
    EXPECT_FALSE(answered.IsAsForAShell());
    answered.Type("\x1By");
    EXPECT_TRUE(Support::WaitFor([&] { return answered.IsAsForAShell(); })) << "nobody is asked any more";
    answered.Type("\x03");
    EXPECT_EQ(answered.Finish(), 2);
    EXPECT_THAT(ExpectRun(1, slow, Plan(more), {"--timeout", "0.1", "--retries", "0"}),
                HasSubstr("no answer within 0.1 s"));
}

TEST_F(StationProgram, ShowsTextsHarmlesslyAndOnLinesThatFit)
{
    const FakeBoard board([isFirst = true](FakeBoard& self, const Bytes& received) mutable {
        const bool isLate = std::exchange(isFirst, isFirst && received[2] != UART::CMD_GPI_TEST);
        if (!isLate || isFirst) {
            FakeBoard::Healthy(self, received);
        }
    });
    const std::string plan = Plan(R"(
[[check]]
kind = 'inputs'
expect = [0x3F, 0]
timeout = 0.4
name = "PASS \u001B\u00E4cht"
ask = "\u001B[31mLit?"
[[check]]
kind = 'program'
command = ['sh', '-c', 'test ! -t 0']  # the operator's keys are not for it
)");
    EXPECT_THAT(Expect(0, {"plan", plan}), AllOf(HasSubstr("PASS \\x1B\u00E4cht"), HasSubstr("\\x1B[31mLit?")));
    Support::Terminal terminal({STATION_PROGRAM, "run", "--port", board.Port(), "--plan", plan}, 23);
    ASSERT_TRUE(terminal.Await("\\x1B[31mLit?")) << terminal.Shown();
    terminal.Type("\x1By");
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Shown();
    EXPECT_THAT(terminal.Shown(), AllOf(HasSubstr("PASS \\x1B\u00E4cht: 0 of 0.\r"),
                                        HasSubstr("\nPASS \\x1B\u00E4cht  "), HasSubstr(" \033[1;32mPASS\033[0m ")));
}

TEST_F(StationProgram, InterruptedBeforeItsRunIsNoPass)
{
    const FakeBoard board(FakeBoard::Healthy);
    ASSERT_EQ(mkfifo(File("plan").c_str(), 0600), 0);
    Program program({STATION_PROGRAM, "run", "--port", board.Port(), "--plan", File("plan")});
    std::ofstream plan(File("plan"));  // waits until the station reads it
    program.Signal(SIGTERM);
    plan << "name = 'Short'\n" << SHORT;
    plan.close();
    EXPECT_EQ(program.Finish(), 2) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("interrupted"));
    EXPECT_EQ(board.Received(), 0);
}

TEST_F(StationProgram, SerialNumbersAreAskedForAndBounded)
{
    const FakeBoard board(FakeBoard::Healthy);
    const std::string plan = Plan("serial_number = '[A-Z]*'\n" + SHORT);
    EXPECT_THAT(ExpectRun(2, board, plan, {"--unit", " \n"}), HasSubstr("asks for the unit's serial number"));
    EXPECT_THAT(ExpectRun(2, board, plan, {"--unit", std::string(120000, 'A')}), HasSubstr("at most 256 bytes"));
    ExpectRun(0, board, plan, {"--unit", "A"});
}

TEST_F(StationProgram, WhatCannotBePrintedIsAnError)
{
    const FakeBoard board(FakeBoard::Healthy);
    for (const std::string& words :
         {std::string("plan"), "plan " + Plan(SHORT), "send confirm_test_mode --port " + board.Port()}) {
        Program program({"sh", "-c", std::string("exec ") + STATION_PROGRAM + ' ' + words + " >/dev/full"});
        EXPECT_EQ(program.Finish(), 2) << words;
    }
}

class StationSignal : public StationProgram, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Signals, StationSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(StationSignal, InterruptedRunWritesItsRecord)
{
    std::atomic<bool> waiting{false};
    const FakeBoard board([&waiting](FakeBoard& self, const Bytes& received) {
        received[2] == UART::CMD_TOUCH_TEST ? waiting.store(true) : FakeBoard::Healthy(self, received);
    });
    const std::string plan = Plan(SHORT + "[[check]]\nkind = 'touch'\nscreen = '800x480'\n[[check]]\nkind = 'disk'\n");
    Program program({STATION_PROGRAM, "run", "--port", board.Port(), "--plan", plan, "--json", File("a.json")});
    while (!waiting) {
        std::this_thread::yield();
    }
    program.Signal(GetParam());
    EXPECT_EQ(program.Finish(), 2) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("COULD NOT RUN: 2 passed, 0 failed, 0 not carried out, 3 of 4 checks"));
    const auto record = nlohmann::json::parse(Content(File("a.json")));
    EXPECT_EQ(record["verdict"], "COULD NOT RUN");
    EXPECT_EQ(record["reason"], "interrupted");
    EXPECT_EQ(record["checks"].back()["result"], "ABORTED");
}

}  // namespace
