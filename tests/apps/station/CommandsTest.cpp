// The words and values for what comes back.
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/Report.h"

using namespace Station;

namespace {

constexpr unsigned char DEVICE = UART::CMD_EXT_DEVICE_TEST;
constexpr unsigned char DISPLAY = UART::CMD_LCD_BLU_TEST;
constexpr unsigned char CLOCK = UART::CMD_RTC_TEST;

/// Data bytes: a number first, then a text.
Bytes With(unsigned char number, const std::string& text)
{
    Bytes bytes(text.begin(), text.end());
    bytes.insert(bytes.begin(), number);
    return bytes;
}

/// Result, words and values of a reply with these data bytes.
std::string Judged(unsigned char code, const Bytes& request, const Bytes& data, unsigned char boardType = 1)
{
    const Verdict verdict = Judge(PlainCheck(code, request), request, MakeFrame(1, code, data), boardType);
    EXPECT_EQ(verdict.status, data[0]);
    RunRecord run;
    run.checks.emplace_back().values = verdict.values;
    const auto values = nlohmann::ordered_json::parse(ToJson(run))["checks"][0]["values"];
    return Told(verdict.result, verdict.message) + (values.empty() ? "" : ' ' + values.dump());
}

TEST(JudgeTest, WordsAndValues)
{
    EXPECT_EQ(Judged(UART::CMD_READ_VERSION, {}, {0, 1, 0, 1, 0, 1, 12}),
              R"(PASS: hardware 1 0 1, library 0.1.12 {"hardware_version":[1,0,1],"library_version":"0.1.12"})");
    EXPECT_EQ(Judged(UART::CMD_GPO_TEST, {0xA5}, {0}), R"(PASS: outputs set to A5 00 {"outputs":[165,0]})");
    EXPECT_EQ(Judged(DEVICE, With(1, "/a"), {1, 3}), "FAIL: /a reads back with other content: check the disk that "
                                                     R"(holds it, and its free space {"path":"/a","result_code":3})");
    EXPECT_EQ(Judged(DEVICE, With(1, "/a"), {1, 4}),
              R"(FAIL: /a fails without a reason: see the board's system log {"path":"/a","result_code":4})");
    EXPECT_EQ(Judged(DEVICE, With(2, "::"), {1}),
              R"(FAIL: no answer from ::: check the network cable {"address":"::","answered":false})");
    EXPECT_EQ(Judged(DEVICE, With(3, "eth0"), With(0, "10.\x07")),
              R"(PASS: eth0 has 10.? {"interface":"eth0","address":"10.?"})");
    EXPECT_EQ(Judged(DEVICE, {4}, {1}), "FAIL: the check failed on the board: see the board's system log");
}

TEST(JudgeTest, DisplayAndTouches)
{
    EXPECT_EQ(Judged(DISPLAY, {}, {0}), R"(PASS: black {"action":0,"level":0})");
    EXPECT_EQ(Judged(DISPLAY, {3, 128}, {0}), R"(PASS: dimmed to 128 of 256 {"action":3,"level":128})");
    EXPECT_EQ(Judged(DISPLAY, {5}, {0}), R"(PASS: ok {"action":5,"level":0})");
    EXPECT_EQ(Judged(DISPLAY, {4, 9}, {1}),
              R"(FAIL: the display cannot be used: check /dev/fb0 and the display's driver {"action":4,"level":9})");
    Bytes touches = {0, 0, 30, 0, 31, 2, 0xEE, 0, 0};
    EXPECT_EQ(Judged(UART::CMD_TOUCH_TEST, {30}, touches),
              R"(PASS: touched 30,31 750,0 0,0 0,0 0,0 {"touches":[30,31,750,0,0,0,0,0,0,0]})");
    touches[0] = 1;
    EXPECT_EQ(Judged(UART::CMD_TOUCH_TEST, {30}, touches),
              "FAIL: the touch test failed after 2 of 5 touches: check the display and the touch panel, and see the "
              R"(board's system log {"touches":[30,31,750,0,0,0,0,0,0,0]})");
    EXPECT_THAT(Judged(UART::CMD_TOUCH_TEST, {30}, {1}), testing::HasSubstr("failed after 0 of 5 touches"));
}

TEST(JudgeTest, StatusAndBoardType)
{
    EXPECT_EQ(Judged(UART::CMD_ADC_IN_TEST, {}, {2}), "SKIP: not supported by the board");
    EXPECT_EQ(Judged(UART::CMD_LCD_BLU_TEST, {9}, {3}), "FAIL: the board calls the request bad: check its data");
    EXPECT_EQ(Judged(UART::CMD_READ_VERSION, {}, {77}),
              "FAIL: the reply has the unknown status 77: check the board's test application");
    EXPECT_EQ(Judged(0x55, {}, {0}), "PASS: ok");
    EXPECT_EQ(Judged(UART::CMD_GPI_TEST, {}, {0}, 3),
              "FAIL: the reply's board type is 1, expected 3: check --board-type");
}

TEST(JudgeTest, Clock)
{
    EXPECT_EQ(Judged(CLOCK, {0}, {0, 26, 11, 16, 16, 1, 5, 1}),
              R"(PASS: 2026-11-16 16:01:05 Monday {"clock":"2026-11-16 16:01:05"})");
    EXPECT_EQ(Judged(CLOCK, {0}, {0, 26, 2, 30, 0, 0, 0, 1}),
              "FAIL: the clock reads 1A 02 1E 00 00 00 01, which is no date: check the real-time clock's driver");
    EXPECT_EQ(Judged(CLOCK, {0}, {0, 26, 11, 16, 16, 1, 5, 2}),
              "FAIL: the clock reads 1A 0B 10 10 01 05 02, which is no date: check the real-time clock's driver");
    EXPECT_EQ(Judged(CLOCK, {}, {1}), "FAIL: the real-time clock does not answer: check /dev/rtc0 and its battery");
    const Bytes set = {1, 26, 11, 16, 23, 59, 58};
    EXPECT_EQ(Judged(CLOCK, set, {0, 26, 11, 17, 0, 0, 1, 2}),
              R"(PASS: 2026-11-17 00:00:01 Tuesday {"clock":"2026-11-17 00:00:01","set":"2026-11-16 23:59:58"})");
    EXPECT_EQ(Judged(CLOCK, set, {0, 26, 11, 17, 0, 0, 2, 2}),
              "FAIL: set to 2026-11-16 23:59:58, reads 2026-11-17 00:00:02: check the real-time clock, /dev/rtc0, and "
              R"(its battery {"clock":"2026-11-17 00:00:02","set":"2026-11-16 23:59:58"})");
    EXPECT_EQ(Judged(CLOCK, set, {0, 26, 11, 16, 23, 59, 57, 1}).substr(0, 4), "FAIL");
}

}  // namespace
