// Where the station takes the targets to be, and how it judges where they were touched.
#include "apps/station/Touch.h"

#include <gmock/gmock.h>

#include "FakeBoard.h"

using namespace Station;
using testing::ElementsAre;

namespace {

constexpr ScreenSize SCREEN = {800, 480};
constexpr Points TARGETS = {{{50, 50}, {750, 50}, {750, 430}, {50, 430}, {400, 240}}};

/// Result and words for touches on the targets of a screen of 800 x 480 pixels, but for one of them.
std::string Judged(std::size_t index, const Point& touch, int tolerance = 20)
{
    Points touches = TARGETS;
    touches[index] = touch;
    Finding finding = {true, "", {}};
    ExpectTouches(TARGETS, tolerance, TouchBytes(touches), finding);
    return Told(finding.good ? Result::Pass : Result::Fail, finding.words);
}

}  // namespace

TEST(TouchTest, TargetsAreTheMiddlesOfTheImages)
{
    EXPECT_EQ(ToNumbers(TouchTargets(SCREEN, 30)), ToNumbers(TARGETS));
    EXPECT_THAT(ToNumbers(TouchTargets({101, 203}, 0)), ElementsAre(20, 20, 81, 20, 81, 183, 20, 183, 50, 101));
}

TEST(TouchTest, PointsAreSignedAndHighByteFirst)
{
    const Bytes values = {1, 2, 0xFF, 0xFF, 0x80, 0, 0x7F, 0xFF, 0, 0xFF, 1, 0, 0xFF, 0, 0, 1, 0, 0, 0, 20, 99};
    EXPECT_THAT(ToNumbers(TouchedPoints(values)), ElementsAre(258, -1, -32768, 32767, 255, 256, -256, 1, 0, 20));
}

TEST(TouchTest, DistanceIsRoundedAndTheToleranceIncluded)
{
    EXPECT_EQ(Judged(0, {50, 50}), "PASS: 5 points within 0 px");
    EXPECT_EQ(Judged(1, {746, 53}, 5), "PASS: 5 points within 5 px");
    EXPECT_EQ(Judged(4, {401, 241}, 2), "PASS: 5 points within 2 px");
    EXPECT_EQ(Judged(4, {401, 241}, 1), "FAIL: centre 401,241 expected 400,240: off by 1 px: check the touch panel's "
                                        "calibration, and --screen");
    EXPECT_EQ(Judged(1, {748, 22}), "FAIL: top-right 748,22 expected 750,50: off by 28 px: check the touch panel's "
                                    "calibration, and --screen");
}
