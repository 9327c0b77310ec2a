// The table of checks, and the words for what comes back.
#include "apps/station/Checks.h"

#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

using namespace Station;

namespace {

struct Case {
    const char* name;
    unsigned char code;
    Bytes request;
    Bytes data;
    Result result;
    const char* message;
};

void PrintTo(const Case& tested, std::ostream* out)
{
    *out << tested.name;
}

}  // namespace

TEST(ChecksTest, CoverEveryCommandOnceWithTheTouchTestLast)
{
    for (const UART::UART_COMMAND_T& command : UART::UART_COMMANDS) {
        EXPECT_EQ(std::count_if(Checks().begin(), Checks().end(),
                                [&](const Check& check) { return check.code == command.code; }),
                  1)
            << command.name;
    }
    EXPECT_EQ(Checks().back().code, UART::CMD_TOUCH_TEST);
}

class JudgeTest : public testing::TestWithParam<Case> {};

TEST_P(JudgeTest, GivesResultInWords)
{
    const Case& tested = GetParam();
    const Verdict verdict = Judge(CheckFor(tested.code), tested.request, MakeFrame(1, tested.code, tested.data), 1);
    EXPECT_EQ(verdict.result, tested.result);
    EXPECT_EQ(verdict.status, tested.data[0]);
    EXPECT_EQ(verdict.message, tested.message);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, JudgeTest,
    testing::Values(Case{"Version", 1, {}, {0, 1, 0, 1, 0, 1, 12}, Result::Pass, "hardware 1 0 1, library 0.1.12"},
                    Case{"Inputs", 4, {}, {0, 0x3F, 0}, Result::Pass, "inputs 3F 00"},
                    Case{"Clock", 11, {0}, {0, 26, 11, 16, 16, 1, 5, 1}, Result::Pass, "2026-11-16 16:01:05 Monday"},
                    Case{"NoWeekday", 11, {0}, {0, 0, 1, 2, 3, 4, 5, 7}, Result::Pass, "2000-01-02 03:04:05 weekday 7"},
                    Case{"Touch",
                         10,
                         {30},
                         {0, 0, 30, 0, 31, 2, 0xEE, 0, 30, 0xFF, 0xFF},
                         Result::Pass,
                         "touched 30,31 750,30 -1,0 0,0 0,0"},
                    Case{"Interface", 8, {3, 'e'}, {0, '1', '0', '.', 7, 0, 'x'}, Result::Pass, "address 10.?"},
                    Case{"File", 8, {1, '/'}, {1, 3}, Result::Fail, "the check failed on the board: result code 3"},
                    Case{"Disk", 8, {0, 0}, {0}, Result::Pass, "ok"},
                    Case{"Failed", 4, {}, {1}, Result::Fail, "the check failed on the board"},
                    Case{"NotSupported", 6, {}, {2}, Result::Skip, "not supported by the board"},
                    Case{"BadRequest", 9, {9}, {3}, Result::Fail, "the board calls the request bad"},
                    Case{"UnknownStatus", 1, {}, {77}, Result::Fail, "the reply has the unknown status 77"},
                    Case{"UnknownCommand", 0x55, {}, {0}, Result::Pass, "ok"}),
    [](const auto& tested) { return tested.param.name; });

TEST(ChecksTest, ReplyOfAnotherBoardTypeFails)
{
    const Verdict verdict = Judge(CheckFor(4), {}, MakeFrame(3, 4, {0, 1, 2}), 1);
    EXPECT_EQ(verdict.result, Result::Fail);
    EXPECT_EQ(verdict.message, "the reply's board type is 3, expected 1");
}
