// What a run sends, and what it expects of its checks together.
#include "apps/station/Plan.h"

#include <algorithm>
#include <ctime>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/Runner.h"

using namespace Station;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

/// The results of those checks of a fresh plan whose names begin like this, carried out on a board.
std::vector<CheckRecord> Results(const std::string& start, FakeBoard::Answer answer)
{
    std::vector<Check> plan = MakePlan({});
    plan.erase(std::remove_if(plan.begin(), plan.end(),
                              [&start](const Check& check) { return check.name.compare(0, start.size(), start) != 0; }),
               plan.end());
    FakeBoard board(std::move(answer));
    SerialPort port(board.Port(), {});
    const std::atomic<bool> stop{false};
    Link link(port, 1, stop);
    const Policy policy{0, Seconds{20}};
    RunRecord run;
    RunSteps(link, PlanChecks(link, policy, plan), run, [](const CheckRecord&) {});
    return run.checks;
}

/// A clock that is set to something else, in seconds, and shows something else when it is read.
FakeBoard::Answer Clock(int setError, int readError)
{
    return [=](FakeBoard& board, Bytes received) {
        const int error = received[3] == 1 ? setError : readError;
        const std::time_t shown = std::time(nullptr) + error;
        Bytes data = ClockBytes(timegm(std::localtime(&shown)));
        data.insert(data.begin(), 0);
        board.Send(FakeBoard::Reply(received, data));
    };
}

TEST(PlanTest, NamesEveryCheckOnce)
{
    std::vector<std::string> names;
    for (const Check& check : MakePlan({})) {
        names.push_back(check.name);
        EXPECT_EQ(check.name.rfind(CommandName(check.code), 0), 0U) << check.name;
    }
    EXPECT_THAT(names, testing::ElementsAre(
                           "CMD_READ_VERSION", "CMD_COMM_TEST", "CMD_GPO_TEST", "CMD_GPI_TEST", "CMD_GPO_TEST/inverted",
                           "CMD_GPI_TEST/inverted", "CMD_PWM_OUT_TEST", "CMD_ADC_IN_TEST", "CMD_SPEAKER_OUT_TEST",
                           "CMD_EXT_DEVICE_TEST/disk", "CMD_EXT_DEVICE_TEST/file", "CMD_EXT_DEVICE_TEST/ping",
                           "CMD_EXT_DEVICE_TEST/address", "CMD_LCD_BLU_TEST", "CMD_RTC_TEST/set", "CMD_RTC_TEST/read",
                           "CMD_RAM_TEST", "CMD_FLASH_TEST", "CMD_CONFIRM_TEST_MODE", "CMD_TOUCH_TEST"));
}

TEST(PlanTest, InputsFollowThePatternAndItsInverse)
{
    const std::vector<CheckRecord> results = Results("CMD_GP", FakeBoard::Healthy);
    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(results[0].message, "outputs set to A5 3C");
    EXPECT_EQ(results[1].message, "inputs A5 3C, as driven");
    EXPECT_EQ(results[2].message, "outputs set to 5A C3");
    EXPECT_EQ(results[3].message, "inputs 5A C3, as driven");
}

TEST(PlanTest, OneWrongInputFails)
{
    const auto stuck = [](FakeBoard& board, const Bytes& received) {
        board.Send(FakeBoard::Reply(received, {0, 0xA5, 0x3C}));
    };
    const std::vector<CheckRecord> results = Results("CMD_GPI", stuck);
    EXPECT_EQ(results[0].result, Result::Pass) << results[0].message;
    EXPECT_EQ(results[1].result, Result::Fail);
    EXPECT_EQ(results[1].message, "inputs A5 3C, expected 5A C3: check the wiring from outputs to inputs");
}

TEST(PlanTest, ClockIsSetToTheStationsTimeAndRunsOn)
{
    const std::time_t before = std::time(nullptr);
    Bytes request;
    const auto healthy = [&request](FakeBoard& board, const Bytes& received) {
        request = request.empty() ? received : request;
        FakeBoard::Healthy(board, received);
    };
    for (const CheckRecord& check : Results("CMD_RTC", healthy)) {
        EXPECT_EQ(check.result, Result::Pass) << check.message;
        EXPECT_THAT(check.message, MatchesRegex("20..-..-.. ..:..:.. .*day"));
    }
    ASSERT_EQ(request.size(), static_cast<std::size_t>(UART::UART_FRAME_LEN));
    EXPECT_EQ(request[3], 1);
    std::tm set = {};
    set.tm_year = request[4] + 100;
    set.tm_mon = request[5] - 1;
    set.tm_mday = request[6];
    set.tm_hour = request[7];
    set.tm_min = request[8];
    set.tm_sec = request[9];
    set.tm_isdst = -1;
    EXPECT_GE(std::mktime(&set), before);
    EXPECT_LE(std::mktime(&set), std::time(nullptr));
}

TEST(PlanTest, ClockThatStandsStillFails)
{
    Bytes first;
    const auto still = [&first](FakeBoard& board, const Bytes& received) {
        if (received[3] == 1) {
            const std::time_t set = CalendarTime(&received[4]);
            first = ClockBytes(set);
            first.insert(first.begin(), 0);
        }
        board.Send(FakeBoard::Reply(received, first));
    };
    const std::vector<CheckRecord> results = Results("CMD_RTC", still);
    EXPECT_EQ(results[0].result, Result::Pass) << results[0].message;
    EXPECT_EQ(results[1].result, Result::Fail);
    EXPECT_THAT(results[1].message, MatchesRegex("reads 20.* ..:..:.., expected 20.* ..:..:..: check the real-time "
                                                 "clock's oscillator and battery"));
}

TEST(PlanTest, ClockThatIsNotWhatItWasSetToFails)
{
    const std::vector<CheckRecord> always = Results("CMD_RTC", Clock(-60, -60));
    EXPECT_EQ(always[0].result, Result::Fail) << always[0].message;
    EXPECT_EQ(always[1].result, Result::Fail) << always[1].message;
    const std::vector<CheckRecord> later = Results("CMD_RTC", Clock(0, 60));
    EXPECT_EQ(later[0].result, Result::Pass) << later[0].message;
    EXPECT_EQ(later[1].result, Result::Fail) << later[1].message;
}

TEST(PlanTest, NothingIsExpectedOfAClockThatDoesNotTakeATime)
{
    const auto fixed = [](FakeBoard& board, const Bytes& received) {
        received[3] == 1 ? board.Send(FakeBoard::Reply(received, {1})) : FakeBoard::Healthy(board, received);
    };
    const std::vector<CheckRecord> results = Results("CMD_RTC", fixed);
    EXPECT_EQ(results[0].message, "the real-time clock does not take the time: check /dev/rtc0 and its battery");
    EXPECT_EQ(results[1].result, Result::Pass);
    EXPECT_THAT(results[1].message, HasSubstr("2026-11-16 16:21:3"));
}

}  // namespace
