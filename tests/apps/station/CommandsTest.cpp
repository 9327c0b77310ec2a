// The words and values for what comes back.
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "apps/station/Report.h"
#include "apps/station/Runner.h"

using namespace Station;

namespace {

struct Case {
    const char* name;
    unsigned char code;
    Bytes request;
    Bytes data;
    Result result;
    const char* message;
    const char* values = "{}";  // as in the JSON record
};

void PrintTo(const Case& tested, std::ostream* out)
{
    *out << tested.name;
}

/// Data bytes: numbers first, then a text.
Bytes With(Bytes bytes, const std::string& text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

std::string JsonOf(const Verdict& verdict)
{
    RunRecord run;
    run.checks.emplace_back().values = verdict.values;
    return nlohmann::ordered_json::parse(ToJson(run))["checks"][0]["values"].dump();
}

class JudgeTest : public testing::TestWithParam<Case> {};

TEST_P(JudgeTest, GivesResultInWordsAndValues)
{
    const Case& tested = GetParam();
    const Verdict verdict =
        Judge(PlainCheck(tested.code, tested.request), tested.request, MakeFrame(1, tested.code, tested.data), 1);
    EXPECT_EQ(verdict.result, tested.result);
    EXPECT_EQ(verdict.status, tested.data[0]);
    EXPECT_EQ(verdict.message, tested.message);
    EXPECT_EQ(JsonOf(verdict), tested.values);
}

constexpr Result PASS = Result::Pass;
constexpr Result FAIL_ = Result::Fail;

const Case CASES[] = {
    {"Version",
     1,
     {},
     {0, 1, 0, 1, 0, 1, 12},
     PASS,
     "hardware 1 0 1, library 0.1.12",
     R"({"hardware_version":[1,0,1],"library_version":"0.1.12"})"},
    {"NoVersion", 1, {}, {1}, FAIL_, "the status driver does not open: check /dev/dev_status"},
    {"Loopback", 2, {'a', 'b'}, {0, 0}, PASS, "came back", R"({"text":"ab","result_code":0})"},
    {"NoLoopback",
     2,
     {'a', 'b'},
     {1, 3},
     FAIL_,
     "did not come back: check the loopback plug on the second serial port",
     R"({"text":"ab","result_code":3})"},
    {"Outputs", 3, {0xA5}, {0}, PASS, "outputs set to A5 00", R"({"outputs":[165,0]})"},
    {"NoOutputs",
     3,
     {1, 2},
     {1},
     FAIL_,
     "the status driver does not open: check /dev/dev_status",
     R"({"outputs":[1,2]})"},
    {"Inputs", 4, {}, {0, 0x3F, 0}, PASS, "inputs 3F 00", R"({"inputs":[63,0]})"},
    {"NoInputs", 4, {}, {1}, FAIL_, "the status driver does not open: check /dev/dev_status"},
    {"Pwm", 5, {2}, {0}, PASS, "PWM outputs set to 2", R"({"setting":2})"},
    {"NoPwm", 5, {2}, {1}, FAIL_, "the status driver does not open: check /dev/dev_status", R"({"setting":2})"},
    {"Disk", 8, {0, 1}, {0}, PASS, "disk 1 mounts", R"({"disk":1})"},
    {"NoDisk",
     8,
     {},
     {1},
     FAIL_,
     "disk 0 does not mount: check that a FAT-formatted USB disk is plugged in",
     R"({"disk":0})"},
    {"File", 8, With({1}, "/a"), {0, 0}, PASS, "/a reads back as written", R"({"path":"/a","result_code":0})"},
    {"FileNotWritten",
     8,
     With({1}, "/a"),
     {1, 1},
     FAIL_,
     "/a cannot be written: check that its folder exists and is writable",
     R"({"path":"/a","result_code":1})"},
    {"FileNotOpened",
     8,
     With({1}, "/a"),
     {1, 2},
     FAIL_,
     "/a cannot be opened again: check the disk that holds it",
     R"({"path":"/a","result_code":2})"},
    {"FileDiffers",
     8,
     With({1}, "/a"),
     {1, 3},
     FAIL_,
     "/a reads back with other content: check the disk that holds it, and its free space",
     R"({"path":"/a","result_code":3})"},
    {"FileUnknownCode",
     8,
     With({1}, "/a"),
     {1, 9},
     FAIL_,
     "/a fails without a reason: see the board's system log",
     R"({"path":"/a","result_code":9})"},
    {"Ping",
     8,
     With({2}, "192.0.2.1"),
     {0},
     PASS,
     "answer from 192.0.2.1",
     R"({"address":"192.0.2.1","answered":true})"},
    {"NoPing",
     8,
     With({2}, "192.0.2.1"),
     {1},
     FAIL_,
     "no answer from 192.0.2.1: check the network cable",
     R"({"address":"192.0.2.1","answered":false})"},
    {"Address", 8, With({3}, "eth0"), With({0}, "10.\x07"), PASS, "eth0 has 10.?",
     R"({"interface":"eth0","address":"10.?"})"},
    {"NoAddress",
     8,
     With({3}, "eth0"),
     {1},
     FAIL_,
     "eth0 has no address: check the interface's name, its set-up and the network cable",
     R"({"interface":"eth0","address":""})"},
    {"UnknownDevice", 8, {4}, {1}, FAIL_, "the check failed on the board: see the board's system log"},
    {"Touch",
     10,
     {30},
     {0, 0, 30, 0, 31, 2, 0xEE, 0, 30, 0xFF, 0xFF},
     PASS,
     "touched 30,31 750,30 -1,0 0,0 0,0",
     R"({"touches":[30,31,750,30,-1,0,0,0,0,0]})"},
    {"Clock",
     11,
     {0},
     {0, 26, 11, 16, 16, 1, 5, 1},
     PASS,
     "2026-11-16 16:01:05 Monday",
     R"({"clock":"2026-11-16 16:01:05"})"},
    {"NoClock", 11, {}, {1}, FAIL_, "the real-time clock does not answer: check /dev/rtc0 and its battery"},
    {"NoDate",
     11,
     {0},
     {0, 26, 2, 30, 0, 0, 0, 1},
     FAIL_,
     "the clock reads 1A 02 1E 00 00 00 01, which is no date: check the real-time clock's driver"},
    {"WrongWeekday",
     11,
     {0},
     {0, 26, 11, 16, 16, 1, 5, 2},
     FAIL_,
     "the clock reads 1A 0B 10 10 01 05 02, which is no date: check the real-time clock's driver"},
    {"ClockSet",
     11,
     {1, 26, 11, 16, 23, 59, 58},
     {0, 26, 11, 17, 0, 0, 1, 2},
     PASS,
     "2026-11-17 00:00:01 Tuesday",
     R"({"clock":"2026-11-17 00:00:01","set":"2026-11-16 23:59:58"})"},
    {"ClockSetLate",
     11,
     {1, 26, 11, 16, 23, 59, 58},
     {0, 26, 11, 17, 0, 0, 2, 2},
     FAIL_,
     "set to 2026-11-16 23:59:58, reads 2026-11-17 00:00:02: check the real-time clock, /dev/rtc0, and its battery",
     R"({"clock":"2026-11-17 00:00:02","set":"2026-11-16 23:59:58"})"},
    {"ClockSetBack",
     11,
     {1, 26, 11, 16, 23, 59, 58},
     {0, 26, 11, 16, 23, 59, 57, 1},
     FAIL_,
     "set to 2026-11-16 23:59:58, reads 2026-11-16 23:59:57: check the real-time clock, /dev/rtc0, and its battery",
     R"({"clock":"2026-11-16 23:59:57","set":"2026-11-16 23:59:58"})"},
    {"ClockNotSet",
     11,
     {1, 26, 11, 16},
     {1},
     FAIL_,
     "the real-time clock does not take the time: check /dev/rtc0 and its battery"},
    {"Confirmed", 255, {}, {0}, PASS, "ok"},
    {"NotSupported", 6, {}, {2}, Result::Skip, "not supported by the board"},
    {"BadRequest", 9, {9}, {3}, FAIL_, "the board calls the request bad: check its data"},
    {"UnknownStatus", 1, {}, {77}, FAIL_, "the reply has the unknown status 77: check the board's test application"},
    {"UnknownCommand", 0x55, {}, {0}, PASS, "ok"},
};

INSTANTIATE_TEST_SUITE_P(Replies, JudgeTest, testing::ValuesIn(CASES),
                         [](const auto& tested) { return tested.param.name; });

TEST(JudgeTest, ReplyOfAnotherBoardTypeFails)
{
    const Verdict verdict = Judge(PlainCheck(4, {}), {}, MakeFrame(3, 4, {0, 1, 2}), 1);
    EXPECT_EQ(verdict.result, Result::Fail);
    EXPECT_EQ(verdict.message, "the reply's board type is 3, expected 1: check --board-type");
}

}  // namespace
