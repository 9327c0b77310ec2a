// What a run sends, and what it expects of its checks together.
#include "apps/station/Plan.h"

#include <gmock/gmock.h>

#include "FakeBoard.h"

using namespace Station;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

/// What comes of those checks of a fresh plan whose names begin like this, carried out on a board.
std::vector<std::string> Results(const std::string& start, FakeBoard::Answer answer, const PlanSettings& settings = {})
{
    std::vector<Check> plan = MakePlan(settings);
    const auto others = [&start](const Check& check) { return check.name.compare(0, start.size(), start) != 0; };
    plan.erase(std::remove_if(plan.begin(), plan.end(), others), plan.end());
    Bench bench(std::move(answer));
    std::vector<std::string> results;
    for (const CheckRecord& check : bench.Run({0, Seconds{20}}, plan).checks) {
        results.push_back(Told(check.result, check.message));
    }
    return results;
}

/// A clock that shows so many seconds too much when it is read.
FakeBoard::Answer WrongClock(int error)
{
    return
        [error](FakeBoard& board, const Bytes& received) { board.ReplyTime(received, received[3] == 1 ? 0 : error); };
}

TEST(PlanTest, InputsFollowThePatternAndItsInverse)
{
    EXPECT_THAT(Results("CMD_GP", FakeBoard::Healthy),
                ElementsAre("PASS: outputs set to A5 3C", "PASS: inputs A5 3C, as driven", "PASS: outputs set to 5A C3",
                            "PASS: inputs 5A C3, as driven"));
    const auto stuck = [](FakeBoard& board, const Bytes& received) { board.Reply(received, {0, 0xA5, 0xC3}); };
    EXPECT_THAT(Results("CMD_GPI", stuck),
                ElementsAre("FAIL: inputs A5 C3, expected A5 3C: check the wiring from outputs to inputs",
                            "FAIL: inputs A5 C3, expected 5A C3: check the wiring from outputs to inputs"));
}

TEST(PlanTest, TouchesThatAreOffTheTargetsOfTheScreenAreListed)
{
    PlanSettings settings;
    settings.tolerance = 2;
    EXPECT_THAT(
        Results("CMD_TOUCH", FakeBoard::Healthy, settings),
        ElementsAre("FAIL: top-left 50,53 expected 50,50: off by 3 px: check the touch panel's calibration, and "
                    "--screen"));
    settings.tolerance = 20;
    settings.screen = {900, 480};
    EXPECT_THAT(Results("CMD_TOUCH", FakeBoard::Healthy, settings),
                ElementsAre(StartsWith("FAIL: top-right 750,50 expected 850,50: off by 100 px; bottom-right 750,430 "
                                       "expected 850,430: off by 100 px; centre 400,240 expected 450,240: off by 50 "
                                       "px: check")));
}

TEST(PlanTest, PicturesStayAsLongAsSomebodyLooksAtThem)
{
    std::vector<std::pair<std::chrono::steady_clock::time_point, Bytes>> shown;
    const auto healthy = [&shown](FakeBoard& board, const Bytes& received) {
        shown.emplace_back(std::chrono::steady_clock::now(), Bytes{received[3], received[4]});
        FakeBoard::Healthy(board, received);
    };
    PlanSettings settings;
    settings.view = 0.2;
    EXPECT_THAT(Results("CMD_LCD", healthy, settings),
                ElementsAre("PASS: black", "PASS: white", "PASS: colour bars", "PASS: dimmed to 128 of 256",
                            "PASS: brightness 100"));
    ASSERT_EQ(shown.size(), 5U);
    for (std::size_t i = 1; i < shown.size(); ++i) {
        EXPECT_GE(shown[i].first - shown[i - 1].first, std::chrono::milliseconds(200)) << "picture " << i;
    }
    EXPECT_EQ(shown[3].second, (Bytes{3, 128}));
    EXPECT_EQ(shown[4].second, (Bytes{4, 100}));
}

TEST(PlanTest, ClockIsSetToTheStationsTimeAndRunsOn)
{
    const std::time_t before = StationTime();
    std::time_t set = 0;
    const auto healthy = [&set](FakeBoard& board, const Bytes& received) {
        set = received[3] == 1 ? CalendarTime(&received[4]) : set;
        FakeBoard::Healthy(board, received);
    };
    const auto passes = MatchesRegex("PASS: 20..-..-.. ..:..:.. .*day");
    EXPECT_THAT(Results("CMD_RTC", healthy), ElementsAre(passes, passes));
    EXPECT_GE(set, before);
    EXPECT_LE(set, StationTime());
}

TEST(PlanTest, ClockThatRunsOnToSomethingElseFails)
{
    const auto fails = MatchesRegex("FAIL: reads 20.* ..:..:.., expected 20.* ..:..:..: check the real-time clock's "
                                    "oscillator and battery");
    EXPECT_THAT(Results("CMD_RTC", WrongClock(60)), ElementsAre(StartsWith("PASS"), fails));
    EXPECT_THAT(Results("CMD_RTC", WrongClock(-3)), ElementsAre(StartsWith("PASS"), fails));
}

TEST(PlanTest, NothingIsExpectedOfAClockThatDoesNotTakeATime)
{
    const auto fixed = [](FakeBoard& board, const Bytes& received) {
        received[3] == 1 ? board.Reply(received, {1}) : board.ReplyTime(received, 60);
    };
    EXPECT_THAT(Results("CMD_RTC", fixed),
                ElementsAre("FAIL: the real-time clock does not take the time: check /dev/rtc0 and its battery",
                            StartsWith("PASS")));
}

}  // namespace
