// The kinds of checks: what each sends, and how it judges what comes back.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/checks/ClockRecord.h"
#include "tests/support/Descriptors.h"
#include "tests/support/Wait.h"

using namespace Station;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// A check, what the board answers to it, and what comes of it.
struct Judged {
    const char* check;  // TOML
    unsigned char command;
    Bytes reply;
    const char* told;
};

class Judging : public testing::TestWithParam<Judged> {};

TEST_P(Judging, TellsWhatCameBack)
{
    const Judged& judged = GetParam();
    const std::string toml = std::string("[[check]]\n") + judged.check;
    const RunRecord run = RunPlan(FakeBoard::Replying(judged.command, judged.reply), toml);
    ASSERT_EQ(run.checks.size(), 1U) << run.problem;
    EXPECT_THAT(Told(run.checks[0]), StartsWith(judged.told)) << toml;
}

/// A passing status and a text.
Bytes Text(std::string text)
{
    text.insert(text.begin(), '\0');
    return {text.begin(), text.end()};
}

using namespace UART;

INSTANTIATE_TEST_SUITE_P(
    Kinds, Judging,
    testing::Values(
        Judged{"kind = 'version'", CMD_READ_VERSION, {0, 1, 0, 1, 2, 3, 4}, "PASS: hardware 1 0 1, library 2.3.4"},
        Judged{"kind = 'version'\nhardware = '1 1 1'",
               CMD_READ_VERSION,
               {0, 1, 0, 1, 0, 1, 0},
               "FAIL: hardware version is 1 0 1, expected 1 1 1"},
        Judged{"kind = 'version'\nlibrary = '0.2.0'",
               CMD_READ_VERSION,
               {0, 1, 0, 1, 0, 1, 0},
               "FAIL: library version is 0.1.0, expected 0.2.0"},
        Judged{"kind = 'version'", CMD_READ_VERSION, {0}, "FAIL: the board tells no library version"},
        Judged{"kind = 'version'", CMD_READ_VERSION, {1}, "FAIL: the status driver does not open"},
        Judged{"kind = 'version'", CMD_READ_VERSION, {2}, "FAIL: the board does not support this"},
        Judged{"kind = 'version'", CMD_READ_VERSION, {3}, "FAIL: the board calls the request bad"},
        Judged{"kind = 'version'", CMD_READ_VERSION, {9}, "FAIL: the reply has the unknown status 9"},
        Judged{"kind = 'inputs'\nexpect = [1, 2]", CMD_GPI_TEST, {1}, "FAIL: the status driver does not open"},
        Judged{"kind = 'outputs'\npattern = [1]", CMD_GPO_TEST, {1}, "FAIL: the status driver does not open"},
        Judged{"kind = 'pwm'\nsetting = 3", CMD_PWM_OUT_TEST, {1}, "FAIL: the status driver does not open"},
        Judged{"kind = 'picture'\npicture = 'bars'", CMD_LCD_BLU_TEST, {1}, "FAIL: the display cannot be used"},
        Judged{"kind = 'address'\ninterface = 'eth0'", CMD_EXT_DEVICE_TEST, {1}, "FAIL: eth0 has no address"},
        Judged{"kind = 'read_clock'", CMD_RTC_TEST, {1}, "FAIL: the real-time clock does not answer"},
        Judged{"kind = 'read_clock'",
               CMD_RTC_TEST,
               {0, 26, 2, 3, 0, 0, 0, 3},
               "FAIL: the clock reads a date that is none"},
        Judged{"kind = 'command'\ncode = 0x06", CMD_ADC_IN_TEST, {1}, "FAIL: the check failed on the board"},
        Judged{"kind = 'file'\nfile = '/a'", CMD_EXT_DEVICE_TEST, {0}, "PASS: /a reads back as written"},
        Judged{"kind = 'file'\nfile = '/a'", CMD_EXT_DEVICE_TEST, {1, 4}, "FAIL: /a fails without a reason"},
        Judged{"kind = 'ping'\nhost = '192.0.2.1'", CMD_EXT_DEVICE_TEST, {0}, "PASS: answer from 192.0.2.1"},
        Judged{"kind = 'brightness'\nbrightness = 7", CMD_LCD_BLU_TEST, {0}, "NOT DONE: set to 7; nobody can tell"},
        Judged{"kind = 'loopback'", CMD_COMM_TEST, {0}, "PASS: came back"},
        Judged{"kind = 'loopback'", CMD_COMM_TEST, {1, 3}, "FAIL: did not come back: check the loopback plug"},
        Judged{"kind = 'inputs'\nexpect = [1, 2]", CMD_GPI_TEST, {0, 1, 2}, "PASS: 01 02, as expected"},
        Judged{"kind = 'inputs'\nexpect = [1, 2]", CMD_GPI_TEST, {0, 1, 3}, "FAIL: inputs 01 03, expected 01 02"},
        Judged{"kind = 'inputs'\nexpect = [1, 2]\nmask = [1, 2]", CMD_GPI_TEST, {0, 3, 3}, "PASS: 01 02, as expected"},
        Judged{"kind = 'disk'\ndisk = 1", CMD_EXT_DEVICE_TEST, {0}, "PASS: disk 1 mounts"},
        Judged{"kind = 'disk'", CMD_EXT_DEVICE_TEST, {1}, "FAIL: disk 0 does not mount"},
        Judged{"kind = 'file'\nfile = '/a'", CMD_EXT_DEVICE_TEST, {1, 3}, "FAIL: /a reads back with other content"},
        Judged{"kind = 'file'\nfile = '/a'", CMD_EXT_DEVICE_TEST, {1, 77}, "FAIL: /a fails without a reason"},
        Judged{"kind = 'ping'\nhost = '192.0.2.1'", CMD_EXT_DEVICE_TEST, {1}, "FAIL: no answer from 192.0.2.1"},
        Judged{"kind = 'address'\ninterface = 'eth0'", CMD_EXT_DEVICE_TEST, Text("192.168.1.10"),
               "PASS: eth0 has 192.168.1.10"},
        Judged{"kind = 'address'\ninterface = 'eth0'", CMD_EXT_DEVICE_TEST, Text(""),
               "FAIL: the board says that eth0 has an address, and tells none"},
        Judged{"kind = 'address'\ninterface = 'eth0'", CMD_EXT_DEVICE_TEST, Text("0.0.0.0"), "FAIL: the board says"},
        Judged{"kind = 'address'\ninterface = 'eth0'\nexpect = '192.168.1.11'", CMD_EXT_DEVICE_TEST,
               Text("192.168.1.10"), "FAIL: address is 192.168.1.10, expected 192.168.1.11"},
        Judged{"kind = 'address'\ninterface = 'eth0'\nnetwork = '192.168.0.0/16'", CMD_EXT_DEVICE_TEST,
               Text("192.168.9.9"), "PASS"},
        Judged{"kind = 'address'\ninterface = 'eth0'\nnetwork = '192.168.2.0/23'", CMD_EXT_DEVICE_TEST,
               Text("192.168.1.255"), "FAIL: eth0 has 192.168.1.255, expected one of 192.168.2.0/23"},
        Judged{"kind = 'picture'\npicture = 'white'\nask = 'Yes?'",
               CMD_LCD_BLU_TEST,
               {0},
               "NOT DONE: shows white; nobody answered"},
        Judged{"kind = 'picture'\npicture = 'white'", CMD_LCD_BLU_TEST, {0}, "NOT DONE: shows white; nobody can tell"},
        Judged{"kind = 'brightness'\nbrightness = 7",
               CMD_LCD_BLU_TEST,
               {1},
               "FAIL: the display does not take the brightness 7"},
        Judged{"kind = 'pwm'\nsetting = 3", CMD_PWM_OUT_TEST, {0}, "NOT DONE: set to 3; nobody can tell"},
        Judged{"kind = 'outputs'\npattern = [1]", CMD_GPO_TEST, {0}, "NOT DONE: set to 01; nobody can tell"},
        Judged{"kind = 'set_clock'",
               CMD_RTC_TEST,
               {0, 26, 2, 30, 0, 0, 0, 0},
               "FAIL: the clock reads a date that is none"},
        Judged{"kind = 'set_clock'", CMD_RTC_TEST, {0, 26, 2, 3, 0, 0, 0, 2}, "FAIL: set to "},
        Judged{"kind = 'set_clock'", CMD_RTC_TEST, {1}, "FAIL: the real-time clock does not take the time"},
        Judged{"kind = 'read_clock'", CMD_RTC_TEST, {0, 26, 2, 3, 0, 0, 0, 2}, "FAIL: reads 2026-02-03 00:00:00, "},
        Judged{"kind = 'touch'\nscreen = '800x480'",
               CMD_TOUCH_TEST,
               {1, 0, 50, 0, 50},
               "FAIL: the touch test failed after 1 of 5 touches"},
        Judged{"kind = 'command'\ncode = 0x06", CMD_ADC_IN_TEST, {0}, "PASS: ok"}));

/// What each kind sends: code and data bytes without the zeros behind them, and how it is described.
TEST(Checks, SendWhatTheyAreDescribedTo)
{
    struct Sent {
        const char* check;
        const char* bytes;
        const char* description;
    };
    const Sent sent[] = {
        {"kind = 'version'", "01", "Read the hardware and library versions"},
        {"kind = 'loopback'", "02 30 31 32 33 34 35 36 37 38 39", "Send \"0123456789\" through the loopback plug"},
        {"kind = 'outputs'\npattern = [1, 2]", "03 01 02", "Set the digital outputs to 01 02"},
        {"kind = 'inputs'", "04", "Read the digital inputs, wired to the outputs"},
        {"kind = 'inputs'\nexpect = [1, 2]", "04", "Read the digital inputs"},
        {"kind = 'pwm'\nsetting = 2", "05 02", "Set the PWM outputs to 2"},
        {"kind = 'disk'", "08", "Mount USB disk 0"},
        {"kind = 'file'\nfile = '/a'", "08 01 2F 61", "Write /a and read it back"},
        {"kind = 'ping'\nhost = '1.2.3.4'", "08 02 31 2E 32 2E 33 2E 34", "Ping 1.2.3.4"},
        {"kind = 'address'\ninterface = 'lo'", "08 03 6C 6F", "Read the address of lo"},
        {"kind = 'picture'\npicture = 'black'", "09", "Clear the screen to black"},
        {"kind = 'picture'\npicture = 'white'", "09 01", "Clear the screen to white"},
        {"kind = 'picture'\npicture = 'bars'", "09 02", "Show colour bars"},
        {"kind = 'picture'\npicture = 'dim'", "09 03 80", "Dim the picture"},
        {"kind = 'picture'\npicture = 'dim'\nweight = 7", "09 03 07", "Dim the picture"},
        {"kind = 'brightness'\nbrightness = 9", "09 04 09", "Set the display's brightness to 9"},
        {"kind = 'touch'\nscreen = '800x480'", "0A 1E", "Have the operator touch five targets"},
        {"kind = 'read_clock'", "0B", "Read the clock, which must run on"},
        {"kind = 'confirm'", "FF", "Ask whether the board is in test mode"},
        {"kind = 'command'\ncode = 'CMD_RAM_TEST'", "0C", "Send CMD_RAM_TEST"},
        {"kind = 'command'\ncode = 0x21\ndata = [1]\ntext = 'a'", "21 01 61", "Send command 0x21"},
    };
    std::string toml;
    for (std::size_t i = 0; i < std::size(sent); ++i) {
        toml += "[[check]]\nname = '" + std::to_string(i) + "'\nretries = 0\n" + sent[i].check + '\n';
    }
    const Plan plan = PlanOf(toml);
    const FakeBoard board(FakeBoard::Healthy);
    const RunRecord run = RunPlan(board, plan);
    ASSERT_EQ(run.checks.size(), std::size(sent)) << run.problem;
    for (std::size_t i = 0; i < std::size(sent); ++i) {
        Bytes bytes = run.checks[i].traffic.at(0).bytes;
        bytes.resize(bytes.size() - UART::UART_TAIL_LEN);
        const auto end =
            std::find_if(bytes.rbegin(), bytes.rend(), [](unsigned char byte) { return byte != 0; }).base();
        EXPECT_EQ(Hex({bytes.begin() + 2, end}), sent[i].bytes) << sent[i].check;
        EXPECT_EQ(plan.entries[i].check->Description(), sent[i].description);
    }
}

std::string Values(const CheckRecord& check)
{
    std::string text;
    for (const Value& value : check.values) {
        text += value.name + '=' + value.Text() + (value.IsWithin() ? " " : "! ");
    }
    return text;
}

TEST(Checks, TakeValuesOutOfAReplyByPlaceAndType)
{
    const std::string toml = R"([[check]]
kind = "command"
code = "ADC_IN_TEST"
data = [15]
text = "x"
values = [
    { name = "a", at = 1, type = "u16", scale = 0.1, unit = "mV", least = 25.8, most = 25.8 },
    { name = "k", at = 12, scale = 0.1, most = 10.7 },
    { name = "b", at = 3, type = "i8" },
    { name = "c", at = 4, type = "i16", order = "little", most = -2 },
    { name = "d", at = 6, type = "u32" },
    { name = "e", at = 6, type = "i32" },
    { name = "f", at = 10, type = "bits", bit = 2, bits = 3 },
    { name = "g", at = 11, type = "text", expect = "ok" },
    { name = "h", at = 25, least = 1 },
]
)";
    Bytes sent;
    const auto answer = [&sent](FakeBoard& board, const Bytes& received) {
        if (received[2] != UART::CMD_ADC_IN_TEST) {
            return FakeBoard::Healthy(board, received);
        }
        sent = received;
        Bytes reply = {0, 0x01, 0x02, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0x54, 'o', 'k'};
        board.Reply(received, reply);
    };
    const RunRecord run = RunPlan(answer, toml);
    ASSERT_EQ(run.checks.size(), 1U);
    EXPECT_EQ(Values(run.checks[0]), "a=25.8 mV k=10.7 b=-1 c=-2 d=4294967294 e=-2 f=5 g=ok h=0! ");
    EXPECT_EQ(Told(run.checks[0]), "FAIL: h is 0, expected at least 1");
    EXPECT_EQ(Bytes(sent.begin() + 3, sent.begin() + 6), (Bytes{15, 'x', 0}));
    EXPECT_EQ(run.verdict, Verdict::Fail);
}

TEST(Checks, OutputsAreJudgedByTheInputsThatReadThem)
{
    const std::string toml = "[[check]]\nkind = 'outputs'\npattern = [0xA5, 0x3C]\n[[check]]\nkind = 'inputs'\n";
    const RunRecord good = RunPlan(FakeBoard::Healthy, toml);
    EXPECT_THAT(Told(good), ElementsAre("PASS: set to A5 3C", "PASS: A5 3C, as driven"));
    EXPECT_EQ(good.verdict, Verdict::Pass);
    const RunRecord stuck = RunPlan(FakeBoard::Replying(UART::CMD_GPI_TEST, {0, 0xA5, 0xC3}), toml);
    EXPECT_THAT(Told(stuck.checks[1]), StartsWith("FAIL: inputs A5 C3, expected A5 3C"));
    const RunRecord again =
        RunPlan(FakeBoard::Healthy, "[[check]]\nkind = 'outputs'\nname = 'unread'\npattern = [1, 1]\n" + toml);
    EXPECT_EQ(again.checks[0].result, Result::NotDone) << "driven anew before anybody reads";
    EXPECT_EQ(again.verdict, Verdict::NotCounted);
    const FakeBoard board(FakeBoard::Healthy);
    RunOptions alone;
    alone.only = {"inputs"};
    EXPECT_THAT(Told(RunPlan(board, PlanOf(toml), alone)),
                ElementsAre("NOT DONE: the outputs have not been driven before"));
}

TEST(Checks, ClockMustRunOnFromWhatItWasSetTo)
{
    const std::string toml = "[[check]]\nkind = 'set_clock'\n[[check]]\nkind = 'read_clock'\n";
    const auto clock = [](int error, bool isFixed) {
        return [error, isFixed, first = std::time_t{0}](FakeBoard& board, const Bytes& received) mutable {
            if (received[2] != UART::CMD_RTC_TEST) {
                return FakeBoard::Healthy(board, received);
            }
            const bool isSetting = received[3] == Protocol::CLOCK_SET;
            first = isSetting ? LocalTime() : first;
            board.ReplyTime(received, isSetting ? 0 : error - (isFixed ? static_cast<int>(LocalTime() - first) : 0));
        };
    };
    EXPECT_EQ(RunPlan(clock(0, false), toml).verdict, Verdict::Pass);
    for (const int error : {60, -5}) {
        const RunRecord run = RunPlan(clock(error, false), toml);
        EXPECT_THAT(Told(run),
                    ElementsAre(StartsWith("PASS: 20"), HasSubstr(" s off: check the real-time clock's oscillator")));
    }
    const auto stopped = [set = LocalTime()](FakeBoard& board, const Bytes& received) mutable {
        const bool isSetting = received[2] == UART::CMD_RTC_TEST && received[3] == Protocol::CLOCK_SET;
        set = isSetting ? LocalTime() : set;
        received[2] == UART::CMD_RTC_TEST ? board.ReplyTime(received, static_cast<int>(set - LocalTime()))
                                          : FakeBoard::Healthy(board, received);
    };
    EXPECT_THAT(Told(RunPlan(stopped, toml + "pause = 0\ndeviation = 1\n")),
                ElementsAre(StartsWith("PASS"), StartsWith("FAIL: reads ")));
    const auto unset = [](FakeBoard& board, const Bytes& received) {
        const bool isSetting = received[2] == UART::CMD_RTC_TEST && received[3] == Protocol::CLOCK_SET;
        isSetting ? board.Reply(received, {1}) : FakeBoard::Healthy(board, received);
    };
    EXPECT_THAT(Told(RunPlan(unset, toml)), ElementsAre(StartsWith("FAIL: "), StartsWith("PASS: ")))
        << "its time is right, although nobody could set it";
    const RunRecord alone = RunPlan(clock(0, false), "[[check]]\nkind = 'read_clock'\n");
    EXPECT_EQ(alone.verdict, Verdict::Pass)
        << "without a setting it shows the station's time: " << Told(alone.checks[0]);
}

TEST(Checks, TouchesAreMeasuredFromTheTargets)
{
    const auto run = [](const std::string& more) {
        return RunPlan(FakeBoard::Healthy, "[[check]]\nkind = 'touch'\n" + more).checks.at(0);
    };
    EXPECT_EQ(Told(run("screen = '800x480'")), "PASS: 5 points within 3 px");
    EXPECT_EQ(Told(run("screen = '800x480'\ntolerance = 2")),
              "FAIL: top left 50,53, expected 50,50: off by 3 px: check the touch panel's calibration, and the plan's "
              "screen size");
    EXPECT_THAT(Told(run("screen = '900x480'")),
                HasSubstr("top right 750,50, expected 850,50: off by 100 px; bottom right"));
    EXPECT_THAT(Values(run("screen = '800x480'")), StartsWith("top left=50,53 px top left off by=3 px "));
    const auto exact = FakeBoard::Replying(
        UART::CMD_TOUCH_TEST, {0, 0, 50, 0, 50, 2, 0xEE, 0, 50, 2, 0xEE, 1, 0xAE, 0, 50, 1, 0xAE, 1, 0x90, 0, 240});
    EXPECT_EQ(Told(RunPlan(exact, "[[check]]\nkind = 'touch'\nscreen = '800x480'\n").checks.at(0)),
              "PASS: 5 points within 0 px");
}

TEST(Checks, WrongFramesPassWithExactlyOneErrorFrame)
{
    std::string toml;
    for (const char* const what : {"checksum", "type", "command", "cut", "noise"}) {
        toml += std::string("[[check]]\nkind = 'wrong_frame'\nname = '") + what + "'\nframe = '" + what + "'\n";
    }
    EXPECT_EQ(RunPlan(FakeBoard::Healthy, toml).verdict, Verdict::Pass);
    const auto twice = [](FakeBoard& board, const Bytes& received) {
        FakeBoard::Healthy(board, received);
        const bool isGood = received.size() == UART::UART_FRAME_LEN && received[2] == UART::CMD_CONFIRM_TEST_MODE &&
                            received == MakeFrame(1, received[2], {received.begin() + 3, received.end() - 2});
        if (!isGood) {
            board.AwaitUnread(0);
            FakeBoard::Healthy(board, received);
        }
    };
    const RunRecord run = RunPlan(twice, toml);
    EXPECT_EQ(Count(run, Result::Fail), 5) << Told(run.checks[0]);

    const auto own = [](FakeBoard& board, const Bytes& received) {  // of type 2, and with a command of its own
        const bool isKnown = received[2] == UART::CMD_CONFIRM_TEST_MODE || received[2] == 0x55;
        board.Send(received[1] == 2 && isKnown ? MakeFrame(2, received[2], {0}) : MakeErrorFrame(2));
    };
    const std::string check = "[[check]]\nkind = 'wrong_frame'\nframe = ";
    EXPECT_THAT(
        Told(RunPlan(own, "board_type = 2\n" + check + "'type'\n" + check + "'command'\nname = 'own'\ncode = 0x56\n")),
        ElementsAre(StartsWith("PASS: error frame"), StartsWith("PASS: error frame")));
    const auto deaf = [](FakeBoard& board, const Bytes& received) {  // after what it could not use
        received == MakeFrame(1, UART::CMD_CONFIRM_TEST_MODE, {}) ? void() : FakeBoard::Healthy(board, received);
    };
    EXPECT_THAT(Told(RunPlan(deaf, check + "'type'\n")),
                ElementsAre("FAIL: error frame, but the next command is not answered: check the board's software"));
    EXPECT_THAT(Told(RunPlan(
                    [](FakeBoard& board, const Bytes& received) {
                        if (received.size() > 30)
                            FakeBoard::Healthy(board, received);
                    },
                    check + "'cut'\n")),
                ElementsAre("FAIL: no answer, expected one error frame"));
}

TEST(Checks, ProgramsMeasureWhatTheBoardCannotJudge)
{
    const auto measured = [](const std::string& command, const std::string& limits, const char* timeout = "60") {
        return RunPlan(FakeBoard::Healthy,
                       "[[check]]\nkind = 'pwm'\nsetting = 3\nmeasure = { command = ['sh', '-c', '" + command +
                           "'], timeout = " + timeout + ", values = [{ name = 'v', unit = 'V'" + limits + " }] }\n");
    };
    const std::string three = R"(echo "{\"v\": 3.0}")";
    EXPECT_EQ(Values(measured(three, "").checks.at(0)), "v=3 V ");
    EXPECT_THAT(Told(measured(R"(echo "{\"v\": \"on\"}")", ", expect = 'on'")),
                ElementsAre("PASS: set to 3; measured: v on V"));
    EXPECT_THAT(Told(measured(R"(echo "{\"v\": true}")", ", expect = 'true'")),
                ElementsAre("PASS: set to 3; measured: v true V"));
    EXPECT_THAT(Told(measured(R"(echo "{\"w\": 3}")", "")),
                ElementsAre(HasSubstr("did not print a JSON object with \"v\"")));
    EXPECT_THAT(Told(measured(three + "; exec >&-; sleep 0.1", ", most = 3")), ElementsAre(StartsWith("PASS")));
    EXPECT_THAT(Told(measured(three, ", least = 2.9, most = 3.1")), ElementsAre("PASS: set to 3; measured: v 3 V"));
    EXPECT_THAT(Told(measured(three, ", least = 3.1")),
                ElementsAre("FAIL: set to 3; measured: v is 3 V, expected at least 3.1 V"));
    EXPECT_THAT(Told(measured("echo none", "")),
                ElementsAre(HasSubstr("measured: sh did not print a JSON object with \"v\"")));
    EXPECT_THAT(Told(measured(R"(echo "{\"v\": null}")", "")), ElementsAre(HasSubstr("printed null for \"v\"")));
    EXPECT_THAT(Told(measured(R"(echo "{\"v\": \"3\"}")", ", least = 1")),
                ElementsAre(HasSubstr("measured: sh printed \"3\" for \"v\", expected a number")));
    EXPECT_THAT(Told(measured("head -c 20M /dev/zero >&2; sleep 60", "")), ElementsAre(HasSubstr("16 MiB of errors")));
    EXPECT_THAT(Told(measured("echo no probe >&2; exit 3", "")),
                ElementsAre(HasSubstr("ended with exit code 3: no probe")));
    EXPECT_THAT(Told(measured("kill -9 $$", "")), ElementsAre(HasSubstr("measured: sh was ended by signal 9")));
    EXPECT_THAT(Told(measured("sleep 60 & wait", "", "0.5")),
                ElementsAre("FAIL: set to 3; measured: sh did not end within 0.5 s"));
    EXPECT_THAT(Told(measured("yes", "")), ElementsAre(HasSubstr("prints more than 64 KiB")));
    EXPECT_THAT(Told(measured("exec sh -c : </dev/tty", "")), ElementsAre(HasSubstr("No such device or address")))
        << "a program has no terminal: it would take the operator's keys, or be stopped";
    const RunRecord missing =
        RunPlan(FakeBoard::Healthy, "[[check]]\nkind = 'program'\ncommand = ['/no/such/meter']\n");
    EXPECT_THAT(Told(missing), ElementsAre(HasSubstr("cannot run /no/such/meter: No such file")));
}

TEST(Checks, AProgramFindsItsSurroundings)
{
    setenv("TESTMODE_UNIT", "stale", 1);
    setenv("TESTMODE_OTHER", "kept", 1);
    const auto former = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const FakeBoard board(FakeBoard::Healthy);
    const auto descriptors = Support::OpenDescriptors();
    RunOptions options;
    options.unit = "U1";
    const RunRecord run = RunPlan(board, PlanOf(R"TOML([[check]]
kind = 'program'
command = ['sh', '-c', '''
signals=$(grep -c "^Sig\(Ign\|Blk\):.*0000000$" /proc/self/status)
port=$(ls -l /proc/$$/fd | grep -c "$TESTMODE_PORT")
printf "{\"v\": \"%s %s %s %s %s\"}" "$TESTMODE_UNIT" "$TESTMODE_OTHER" "$(pwd -P)" $signals $port
''']
values = [{ name = 'v' }]
[[check]]
kind = 'program'
name = 'missing'
command = ['/no/such/meter']
)TOML"),
                                  options);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGPIPE, former);
    const std::string folder = std::filesystem::canonical(testing::TempDir());
    EXPECT_EQ(Told(run.checks.at(0)), "PASS: v U1 kept " + folder + " 2 0");
    EXPECT_EQ(run.checks[0].attempts, 1);
    std::atomic<bool> stop{true};
    const Finding stopped = RunProgram({{"sleep", "600"}, "", Seconds{60}, {}}, {}, stop);
    EXPECT_EQ(stopped.result, Result::Aborted);
    EXPECT_EQ(stopped.message, "interrupted");
    EXPECT_EQ(Support::OpenDescriptors(), descriptors) << "nothing is left open";
}

TEST(Checks, AProgramEndsWithItsWholeGroup)
{
    const std::string pidFile = "/tmp/testmode-group-" + std::to_string(getpid());
    RunPlan(FakeBoard::Healthy,
            "[[check]]\nkind = 'program'\ntimeout = 5\ncommand = ['sh', '-c', 'sleep 600 & echo $! >" + pidFile +
                "']\n");
    pid_t left = 0;
    std::ifstream(pidFile) >> left;
    std::remove(pidFile.c_str());
    ASSERT_GT(left, 0);
    const auto isGone = [left] {
        std::ifstream stat("/proc/" + std::to_string(left) + "/stat");
        std::string pid;
        std::string name;
        char state = 'Z';
        stat >> pid >> name >> state;
        return state == 'Z';
    };
    EXPECT_TRUE(Support::WaitFor(isGone));
}

}  // namespace
