// System calls that fail: the result and the log lines of the operation that makes them.
#include <cerrno>
#include <cstdlib>

#include "ioctl/CFBLib.h"
#include "ioctl/CFileTest.h"
#include "ioctl/CGPIOTest.h"
#include "ioctl/CNetTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CSysTime.h"
#include "ioctl/CUARTTest.h"
#include "ioctl/CVersion.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Program.h"

namespace {

using Sim::Fault;
using Support::Texts;

struct Failure {
    Fault fault;
    int result;
    Texts lines;  // the last ones
};

struct Operation {
    const char* name;
    std::function<int()> run;
    std::vector<Failure> failures;
};

Fault Fails(const char* call, int after = 0)
{
    return Fault::Fails(call, EIO).After(after);
}

unsigned char g_record[32] = {0x11, 0x22};

int UseDisplay()
{
    IOCTL::CFBLib display;
    const bool isReady =
        display.Open() == 0 && display.SetInfo(32, 0, 0, 8, 8) == 0 && display.InitializeScreenBuffer() == 0;
    return isReady ? display.SetDisplayBrightness(50) : -1;
}

int LoadImage()
{
    const Support::MemoryFile file(Support::BmpFile(3, 3));
    IOCTL::tBMP bmp = {};
    const int result = IOCTL::CFBLib().CreateBitmap(&bmp, file.Path());
    std::free(bmp.pData);
    return result;
}

int VerifyFile()
{
    const std::string path = Support::TemporaryPath("failures");
    const int result = IOCTL::CFileTest().FileVerify(path.c_str());
    std::remove(path.c_str());
    return result;
}

const Operation OPERATIONS[] = {
    {"CheckGPO",
     [] { return IOCTL::CGPIOTest().CheckGPO(g_record); },
     {{Fails("open"), -1, {"[E] [GPI] /dev/dev_status open error"}}, {Fails("ioctl"), 0, {}}}},
    {"CheckGPI",
     [] { return IOCTL::CGPIOTest().CheckGPI(g_record); },
     {{Fails("open"), -1, {"[E] [GPI] /dev/dev_status open error"}}, {Fails("ioctl"), 0, {"[D] Total : 11 / 22\n\n"}}}},
    {"CheckPWM",
     [] { return IOCTL::CPWMOutTest().CheckPWM(1); },
     {{Fails("open"), -1, {"[E] [PWM] /dev/dev_status open error\n"}}, {Fails("ioctl"), 0, {}}}},
    {"GetHWVersion",
     [] { return IOCTL::CVersion().GetHWVersion(std::vector<unsigned char>(3).data()); },
     {{Fails("open"), -1, {"[E] [GetHWVersion] open error: errno = 5: Input/output error \n"}},
      {Fails("ioctl"), 0, {"[D] [GetHWVersion] HW Version 0 1 2 : 0 0 0 \n\n"}}}},
    {"GetSysTime",
     [] { return IOCTL::CSysTime().GetSysTime(std::vector<tm>(1).data()); },
     {{Fails("open"), -1, {"[E] [RTC] RTC_DEV Open Error!\n"}},
      {Fails("ioctl"), -1, {"[E] [RTC] RTC_RD_TIME Open Error!\n"}}}},
    {"SetSysTime",
     [] { return IOCTL::CSysTime().SetSysTime(26, 11, 16, 16, 21, 35); },
     {{Fails("settimeofday"), 0, {}}, {Fails("open"), -1, {}}, {Fails("ioctl"), -1, {}}}},
    {"the display",
     UseDisplay,
     {{Fails("ioctl"), -1, {"[E] [SetInfo] SET_OSD_INFO error"}}, {Fails("ioctl", 2), -1, {}}}},
    {"CreateBitmap",
     LoadImage,
     {{Fails("open"), -1, {"[E] [CreateBitmap] BMP File Open Error"}},
      {Fails("lseek"), -1, {"[E] [CreateBitmap] LINE(242) - lseek returned 5"}},
      {Fails("read"), -1, {"[E] [CreateBitmap] LINE(249) - read returned 5"}},
      {Fails("read", 1), -1, {"[E] [CreateBitmap] LINE(260) - read returned 5"}},
      {Fails("lseek", 1), -1, {"[E] [CreateBitmap] LINE(280) - lseek returned 5"}},
      {Fails("read", 2), -1, {"[E] [CreateBitmap] LINE(292) - read returned 5"}}}},
    {"PingTest",
     [] { return IOCTL::CNetTest().PingTest("192.0.2.1"); },
     {{Fails("socket"), -1, {"[E] [ping] socket error"}},
      {Fails("setsockopt"), -1, {"[E] [ping] setsocketopt error"}},
      {Fails("sendto"), -1, {"[D] [ping] Send To = -1", "[E] sendto error"}},
      {Fails("recvfrom"), -1, {"[D] [ping] Recv From = -1", "[E] recvfrom error"}}}},
    {"GetIP",
     [] { return IOCTL::CNetTest().GetIP("lo") != nullptr ? 0 : -1; },
     {{Fails("socket"), -1, {"[E] [GetIP] Socket Open error : ER_SOCKET"}},
      {Fails("ioctl"), -1, {"[E] [GetIP] IOCTL error : ER_ADDR"}}}},
    {"MountUSB", [] { return IOCTL::CFileTest().MountUSB(0); }, {{Fails("umount2"), 0, {}}}},
    {"FileVerify",
     VerifyFile,
     {{Fails("fopen"), 1, {}},
      {Fails("write"), 3, {"[D] fwrite = 0\n", "[D] fread = 0\n"}},
      {Fault::Limits("write", 1023), 3, {"[D] fwrite = 0\n", "[D] fread = 0\n"}},
      {Fails("fopen", 1), 2, {"[D] fwrite = 1\n"}},
      {Fails("read"), 3, {"[D] fwrite = 1\n", "[D] fread = 0\n"}}}},
    {"TestUART",
     [] { return IOCTL::CUARTTest().TestUART("", 0, 0, 0, 0, false, "0123456789"); },
     {{Fails("open"),
       3,
       {"[E] [UART] /dev/ttyS1 Open Error!", "[D] TestTXD = -1\n", "[D] TestRXD = -1\n", "[D] TestRXD data = [00]\n"}},
      {Fails("write"),
       3,
       {"[D] TestTXD nBytes = -1\n", "[D] TestTXD = 0\n", "[D] TestRXD total = 0\n", "[D] TestRXD = 0\n",
        "[D] TestRXD data = [00]\n"}}}}};

class Failures : public Support::Board {};

TEST_F(Failures, GiveTheirResultAndLinesAndLeaveNothingOpen)
{
    for (const Operation& operation : OPERATIONS) {
        for (const auto& [fault, result, lines] : operation.failures) {
            SCOPED_TRACE(std::string(operation.name) + ": " + fault.call + " after " + std::to_string(fault.after));
            SetUp();
            Sim::TakeLog();
            const auto before = Support::OpenDescriptors();
            const Support::Steps steps;
            Sim::Inject(fault);
            EXPECT_EQ(operation.run(), result);
            EXPECT_GT(steps.Calls(fault.call).size(), static_cast<std::size_t>(fault.after)) << "the fault was met";
            EXPECT_EQ(Support::OpenDescriptors(), before);
            const Texts logged = Support::TakeTexts();  // the constructor's line first
            ASSERT_GT(logged.size(), lines.size());
            EXPECT_EQ(Texts(logged.end() - static_cast<std::ptrdiff_t>(lines.size()), logged.end()), lines);
            EXPECT_EQ(logged.size() == 1, lines.empty());
        }
    }
}

}  // namespace
