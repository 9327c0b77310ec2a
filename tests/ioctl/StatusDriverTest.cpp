// The checks that use the status driver: outputs, inputs, PWM and the hardware version.
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "ioctl/CGPIOTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CVersion.h"
#include "tests/ioctl/Board.h"

namespace {

using IOCTL::CGPIOTest;
using IOCTL::CPWMOutTest;
using IOCTL::CVersion;
using Sim::Fault;
using Support::Calls;
using Support::TakeTexts;
using Support::Texts;

class StatusDriver : public Support::Board {};

const std::string OPEN = "open /dev/dev_status " + std::to_string(O_RDWR);
const std::string CLOSE = "close 0";

Texts Request(int code)
{
    return {OPEN, "ioctl " + std::to_string(code), CLOSE};
}

template <class Check>
void KeepsTheDevice()
{
    const auto before = Support::OpenDescriptors();
    const Sim::Recording recording;
    {
        Check check;
        EXPECT_EQ(check.IsOpen(), -1);
        check.CloseDev();
        EXPECT_EQ(check.OpenDev(), 0);
        EXPECT_EQ(check.OpenDev(), 0);
        EXPECT_EQ(check.IsOpen(), 0);
        check.CloseDev();
        check.CloseDev();
        EXPECT_EQ(check.IsOpen(), -1);
        EXPECT_EQ(Calls(recording), (Texts{OPEN, CLOSE}));
        Sim::Inject(Fault::Returns("open", 0));
        EXPECT_EQ(check.OpenDev(), 0);
        EXPECT_EQ(check.IsOpen(), -1) << "a descriptor of 0 counts as closed";
        check.CloseDev();
        EXPECT_EQ(check.OpenDev(), 0);
    }
    EXPECT_EQ(Calls(recording), (Texts{OPEN, CLOSE, OPEN, OPEN}));
    EXPECT_EQ(Support::OpenDescriptors().size(), before.size() + 1) << "the destructor closes nothing";
    close(static_cast<int>(recording.Calls("open").back().result));
}

TEST_F(StatusDriver, IsOpenedAndClosedOnce)
{
    KeepsTheDevice<CGPIOTest>();
    KeepsTheDevice<CPWMOutTest>();
}

TEST_F(StatusDriver, OutputsComeBackAsInputs)
{
    CGPIOTest check;
    TakeTexts("CGPIOTest");
    const Sim::Recording recording;
    unsigned char pattern[32] = {0x3F, 0x00};
    EXPECT_EQ(check.CheckGPO(pattern), 0);
    EXPECT_EQ(Calls(recording), Request(0x440));
    EXPECT_EQ(Sim::Outputs(), (std::array<unsigned char, 2>{0x3F, 0x00}));
    EXPECT_EQ(TakeTexts("CGPIOTest"), Texts());

    unsigned char state[32] = {0xEE, 0xEE};
    EXPECT_EQ(check.OpenDev(), 0);
    EXPECT_EQ(check.CheckGPI(state), 0);
    EXPECT_EQ(check.IsOpen(), -1) << "a device that was open is used and closed";
    EXPECT_EQ(recording.Calls("open").size(), 2U);
    EXPECT_EQ(recording.Calls("ioctl").at(1).argument, 0x441);
    EXPECT_EQ(state[0], 0x3F);
    EXPECT_EQ(state[1], 0x00);
    EXPECT_EQ(TakeTexts("CGPIOTest"), Texts{"[D] Total : 3F / 0\n\n"});
}

TEST_F(StatusDriver, PwmTakesTheTwoLowBits)
{
    CPWMOutTest check;
    TakeTexts("CPWMOutTest");
    for (const auto& [setting, passed] : {std::pair{0x07, 3}, {0x04, 0}, {0xFE, 2}, {0x01, 1}}) {
        const Sim::Recording recording;
        EXPECT_EQ(check.CheckPWM(static_cast<unsigned char>(setting)), 0);
        EXPECT_EQ(Sim::Pwm(), passed) << "setting " << setting;
        EXPECT_EQ(Calls(recording), Request(0x442));
    }
    EXPECT_EQ(TakeTexts("CPWMOutTest"), Texts());
}

TEST_F(StatusDriver, VersionIsTheLowestBitOfEachByte)
{
    Sim::SetVersion({0x01, 0xFE, 0x03});
    CVersion check;
    TakeTexts("CVersion");
    const Sim::Recording recording;
    unsigned char version[4] = {9, 9, 9, 9};
    EXPECT_EQ(check.GetHWVersion(version), 0);
    EXPECT_EQ((std::vector<int>{version, version + 4}), (std::vector{1, 0, 1, 9})) << "three bytes are written";
    EXPECT_EQ(TakeTexts("CVersion"), Texts{"[D] [GetHWVersion] HW Version 0 1 2 : 1 0 1 \n\n"});
    EXPECT_EQ(Calls(recording), Request(0x443));

    Sim::Inject(Fault::Returns("open", 0));
    Sim::Inject(Fault::Returns("close", 0));
    EXPECT_EQ(check.GetHWVersion(version), 0);
    EXPECT_EQ(recording.Calls("close").at(1).fd, 0) << "a descriptor of 0 is closed, too";
}

TEST_F(StatusDriver, WithoutTheDeviceNothingIsWritten)
{
    Sim::Reset();
    unsigned char bytes[32] = {7, 7, 7};
    CGPIOTest inputs;
    EXPECT_EQ(inputs.CheckGPI(bytes), -1);
    EXPECT_EQ(inputs.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CGPIOTest").back(), "[E] [GPI] /dev/dev_status open error");
    EXPECT_EQ(CVersion().GetHWVersion(bytes), -1);
    EXPECT_EQ(TakeTexts("CVersion").back(), "[E] [GetHWVersion] open error: errno = 2: No such file or directory \n");
    EXPECT_EQ((std::vector<int>{bytes, bytes + 3}), (std::vector{7, 7, 7}));
}

}  // namespace
