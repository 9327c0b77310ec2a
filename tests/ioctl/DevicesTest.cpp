// The devices that stay open between calls: which descriptor counts as open, and who closes it.
#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

#include "ioctl/CFBLib.h"
#include "ioctl/CGPIOTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CUARTTest.h"
#include "tests/ioctl/Board.h"

namespace {

using Sim::Fault;
using Support::Texts;

struct Device {
    std::string name;
    const char* path;
    int flags;
    std::string error;
    bool closesZero;
    bool closesAtEnd;
};

template <class Check, class Open, class Close>
void KeepsItsDevice(const Device& device, Open open, Close close)
{
    SCOPED_TRACE(device.name);
    Sim::PowerOn();
    const Sim::Recording recording;
    const auto closes = [&] { return recording.Calls("close").size(); };
    std::optional<Check> check(std::in_place);
    EXPECT_EQ(Support::TakeTexts(device.name), Texts{"[D] [" + device.name + "] Logger Start."});
    EXPECT_EQ(check->IsOpen(), -1);
    close(*check);
    Sim::Inject(Fault::Fails("open", EACCES));
    EXPECT_EQ(open(*check), -1);
    EXPECT_EQ(check->IsOpen(), -1);
    EXPECT_EQ(Support::TakeTexts(device.name), Texts{device.error});
    EXPECT_EQ(open(*check), 0);
    EXPECT_EQ(open(*check), 0);
    EXPECT_EQ(check->IsOpen(), 0);
    close(*check);
    close(*check);
    EXPECT_EQ(check->IsOpen(), -1);
    ASSERT_EQ(recording.Calls("open").size(), 2U);
    EXPECT_EQ(recording.Calls("open")[1].path, device.path);
    EXPECT_EQ(recording.Calls("open")[1].argument, device.flags);
    EXPECT_EQ(closes(), 1U);

    for (const int fd : {0, 1}) {
        for (const bool isClosed : {true, false}) {
            const std::size_t before = closes();
            check.emplace();
            Sim::Inject(Fault::Returns("open", fd));
            EXPECT_EQ(open(*check), 0);
            EXPECT_EQ(check->IsOpen(), fd - 1) << "a descriptor of " << fd;
            Sim::Inject(Fault::Returns("close", 0));
            if (isClosed) {
                close(*check);
            }
            check.reset();
            const bool isReleased = isClosed ? fd > 0 || device.closesZero : fd > 0 && device.closesAtEnd;
            EXPECT_EQ(closes() - before, isReleased ? 1 : 0) << "a descriptor of " << fd;
            Sim::Reset();
        }
    }
}

class Devices : public Support::Board {};

TEST_F(Devices, AreOpenedOnceAndADescriptorOfZeroCountsAsClosed)
{
    const auto openDev = [](auto& check) { return check.OpenDev(); };
    const auto closeDev = [](auto& check) { check.CloseDev(); };
    const auto close = [](auto& check) { check.Close(); };
    KeepsItsDevice<IOCTL::CFBLib>(
        {"CFBLib", "/dev/fb0", O_RDWR, "[E] [FB] /dev/fb0 open error", true, true},
        [](auto& check) { return check.Open(); }, close);
    KeepsItsDevice<IOCTL::CGPIOTest>(
        {"CGPIOTest", "/dev/dev_status", O_RDWR, "[E] [GPI] /dev/dev_status open error", false, false}, openDev,
        closeDev);
    KeepsItsDevice<IOCTL::CPWMOutTest>(
        {"CPWMOutTest", "/dev/dev_status", O_RDWR, "[E] [PWM] /dev/dev_status open error\n", false, false}, openDev,
        closeDev);
    KeepsItsDevice<IOCTL::CUARTTest>(
        {"CUARTTest", "/dev/ttyS1", O_RDWR | O_NOCTTY | O_NONBLOCK, "[E] [UART] /dev/ttyS1 Open Error!", false, false},
        [](auto& check) { return check.Open("/dev/ttyS1", 9600, 8, 1, 0, false); }, close);
}

}  // namespace
