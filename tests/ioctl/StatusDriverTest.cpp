// The checks that use the status driver: outputs, inputs, PWM and the hardware version.
#include "ioctl/CGPIOTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CVersion.h"
#include "tests/ioctl/Board.h"

namespace {

using Support::TakeTexts;
using Support::Texts;

class StatusDriver : public Support::Board {};

TEST_F(StatusDriver, OutputsComeBackAsInputs)
{
    IOCTL::CGPIOTest check;
    TakeTexts("CGPIOTest");
    unsigned char pattern[32] = {0x3F, 0x00};
    EXPECT_EQ(check.CheckGPO(pattern), 0);
    EXPECT_EQ(Sim::Outputs(), (std::array<unsigned char, 2>{0x3F, 0x00}));
    EXPECT_EQ(check.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CGPIOTest"), Texts());

    const Sim::Recording recording;
    unsigned char state[32] = {0xEE, 0xEE};
    EXPECT_EQ(check.OpenDev(), 0);
    EXPECT_EQ(check.CheckGPI(state), 0);
    EXPECT_EQ(check.IsOpen(), -1) << "a device that was open is used and closed";
    EXPECT_EQ(recording.Calls("open").size(), 1U);
    EXPECT_EQ(state[0], 0x3F);
    EXPECT_EQ(state[1], 0x00);
    EXPECT_EQ(TakeTexts("CGPIOTest"), Texts{"[D] Total : 3F / 0\n\n"});
}

TEST_F(StatusDriver, PwmTakesTheTwoLowBits)
{
    IOCTL::CPWMOutTest check;
    TakeTexts("CPWMOutTest");
    for (const auto& [setting, passed] : {std::pair{0x07, 3}, {0x04, 0}, {0xFE, 2}, {0x01, 1}}) {
        EXPECT_EQ(check.CheckPWM(static_cast<unsigned char>(setting)), 0);
        EXPECT_EQ(Sim::Pwm(), passed) << "setting " << setting;
        EXPECT_EQ(check.IsOpen(), -1);
    }
    EXPECT_EQ(TakeTexts("CPWMOutTest"), Texts());
}

TEST_F(StatusDriver, VersionIsTheLowestBitOfEachByte)
{
    Sim::SetVersion({0x01, 0xFE, 0x03});
    IOCTL::CVersion check;
    TakeTexts("CVersion");
    unsigned char version[4] = {9, 9, 9, 9};
    EXPECT_EQ(check.GetHWVersion(version), 0);
    EXPECT_EQ((std::vector<int>{version, version + 4}), (std::vector{1, 0, 1, 9})) << "three bytes are written";
    EXPECT_EQ(TakeTexts("CVersion"), Texts{"[D] [GetHWVersion] HW Version 0 1 2 : 1 0 1 \n\n"});
    Sim::Reset();
    EXPECT_EQ(check.GetHWVersion(version), -1);
    EXPECT_EQ(version[1], 0) << "unchanged";
}

}  // namespace
