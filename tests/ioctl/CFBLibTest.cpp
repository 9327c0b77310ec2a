// The display: its device and its mapping.
#include "ioctl/CFBLib.h"

#include <cerrno>
#include <cstdarg>
#include <optional>

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fb.h>
#include <sys/ioctl.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Gap.h"

namespace {

using IOCTL::CFBLib;
using IOCTL::tBMP;
using Sim::Fault;
using Support::Pixels;
using Support::TakeTexts;
using Support::Texts;
using testing::ElementsAre;
using testing::StartsWith;

using Request = int(int, unsigned long, ...);

struct Size {
    std::uint32_t width;
    std::uint32_t height;
};

std::optional<Size> g_told;  // by the driver, instead of what the simulated display has

}  // namespace

extern "C" __attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept
{
    static auto* const next = reinterpret_cast<Request*>(dlsym(RTLD_NEXT, "ioctl"));
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const int result = next(fd, request, argument);
    if (request == FBIOGET_VSCREENINFO && g_told) {
        auto& info = *static_cast<fb_var_screeninfo*>(argument);
        info.xres = g_told->width;
        info.yres = g_told->height;
    }
    return result;
}

namespace {

const std::string OPEN = "open /dev/fb0 " + std::to_string(O_RDWR);
constexpr int WIDTH = 64;
constexpr int HEIGHT = 32;
constexpr std::size_t PIXELS = WIDTH * HEIGHT;

class Display : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        Sim::SetScreenSize(WIDTH, HEIGHT);
        TakeTexts("CFBLib");
    }
    void TearDown() override
    {
        g_told.reset();
        Board::TearDown();
    }

    void Map()
    {
        ASSERT_EQ(m_display.Open(), 0);
        ASSERT_EQ(m_display.SetInfo(32, 0, 0, WIDTH, HEIGHT), 0);
        ASSERT_EQ(m_display.InitializeScreenBuffer(), 0);
    }
    /// Everything that draws.
    void Draw()
    {
        m_display.ScreenClear(1);
        m_display.DrawPixel(1, 1, 0x123456);
        m_display.setAlpha(7);
        m_display.DrawBmp(0, 0, m_bmp);
        m_bmp.nBgMode = 1;
        m_display.DrawBmp(2, 2, m_bmp);
    }

    CFBLib m_display;
    Pixels m_pixels = Pixels(6, 0x00ABCDEF);
    tBMP m_bmp = {3, 2, m_pixels.data(), 0, 0, 0, 0, nullptr, 0};
};

TEST_F(Display, IsOpenedOnceAndClosedOnce)
{
    const auto before = Support::OpenDescriptors();
    const Sim::Recording recording;
    {
        CFBLib display;
        EXPECT_EQ(display.IsOpen(), -1);
        display.Close();
        EXPECT_EQ(display.Open(), 0);
        EXPECT_EQ(display.Open(), 0);
        EXPECT_EQ(display.IsOpen(), 0);
        display.Close();
        display.Close();
        EXPECT_EQ(display.IsOpen(), -1);
        EXPECT_EQ(Support::Calls(recording), (Texts{OPEN, "close 0"}));
        EXPECT_EQ(display.Open(), 0);
    }
    EXPECT_EQ(Support::Calls(recording), (Texts{OPEN, "close 0", OPEN, "close 0"}));
    EXPECT_EQ(Support::OpenDescriptors(), before);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[D] [CFBLib] Logger Start."});
}

TEST_F(Display, ADescriptorOfZeroCountsAsClosedButIsUsed)
{
    const Sim::Recording recording;
    {
        CFBLib display;
        Sim::Inject(Fault::Returns("open", 0));
        EXPECT_EQ(display.Open(), 0);
        EXPECT_EQ(display.IsOpen(), -1);
        Sim::Inject(Fault::Returns("ioctl", 5));
        EXPECT_EQ(display.SetDisplayBrightness(1), 5);
        Sim::Inject(Fault::Fails("ioctl", EIO));
        EXPECT_EQ(display.InitializeScreenBuffer(), -1);
        EXPECT_EQ(recording.Calls("ioctl").size(), 2U);
    }
    EXPECT_EQ(recording.Calls("close").size(), 0U) << "the destructor leaves it open";
    Sim::Inject(Fault::Returns("open", 0));
    EXPECT_EQ(m_display.Open(), 0);
    Sim::Inject(Fault::Returns("close", 0));
    m_display.Close();
    EXPECT_EQ(recording.Calls("close").at(0).fd, 0) << "Close does not";
}

TEST_F(Display, WithoutDeviceNothingWorksUntilItIsThere)
{
    Sim::Inject(Fault::Fails("open", EACCES));
    EXPECT_EQ(m_display.Open(), -1);
    EXPECT_EQ(m_display.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [FB] /dev/fb0 open error"});
    const Sim::Recording recording;
    EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [InitializeScreenBuffer] FB_HANDLE error"});
    EXPECT_EQ(m_display.SetDisplayBrightness(5), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
    EXPECT_EQ(recording.Calls().size(), 0U);
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 5, 5), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [SetInfo] SET_OSD_INFO error"});
    Draw();
    EXPECT_EQ(TakeTexts("CFBLib").size(), 6U) << "three lines of each bitmap";
    EXPECT_EQ(m_display.Open(), 0);
}

TEST_F(Display, TheAreaAndTheBrightnessAreHandedOn)
{
    ASSERT_EQ(m_display.Open(), 0);
    EXPECT_EQ(m_display.SetInfo(32, 3, 5, 40, 20), 0);
    EXPECT_EQ(Sim::DisplayArea(), (std::array<std::int32_t, 6>{0, 32, 40, 20, 3, 5})) << "the size is in front";
    EXPECT_EQ(m_display.SetDisplayBrightness(37), 0);
    EXPECT_EQ(m_display.SetDisplayBrightness(-1), -1);
    EXPECT_EQ(m_display.SetDisplayBrightness(1'000'000), -1);
    EXPECT_EQ(Sim::Brightness(), 37);
    Sim::Inject(Fault::Returns("ioctl", 1));
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 1, 1), 0) << "only a negative result is a failure";
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
}

TEST_F(Display, CanBeDrawnOnWhenTheDeviceIsClosed)
{
    ASSERT_NO_FATAL_FAILURE(Map());
    m_display.ScreenClear(5);
    m_display.Close();
    m_display.DrawPixel(WIDTH - 1, HEIGHT - 1, 0x00C0FFEE);
    Pixels expected(PIXELS, 0xFFFFFFFF);
    expected.back() = 0x00C0FFEE;
    EXPECT_EQ(Sim::Screen(), expected);
}

TEST_F(Display, EachMappingIsReleasedAtItsOwnSize)
{
    const Sim::Recording recording;
    {
        CFBLib display;
        for (const int height : {3, 7}) {
            Sim::SetScreenSize(1024, height);
            ASSERT_EQ(display.Open(), 0);
            ASSERT_EQ(display.InitializeScreenBuffer(), 0);
            display.Close();
        }
    }
    for (const char* const call : {"mmap", "munmap"}) {
        ASSERT_EQ(recording.Calls(call).size(), 2U) << call;
        EXPECT_EQ(recording.Calls(call)[0].argument, 3 * 4096) << call;
        EXPECT_EQ(recording.Calls(call)[1].argument, 7 * 4096) << call;
    }
}

struct Unusable {
    const char* name;
    Size told;
    const char* failing;  // call, or null
};

class UnusableDisplay : public Display, public testing::WithParamInterface<Unusable> {};

/// Nothing is mapped then, not even what was before, and drawing changes nothing.
TEST_P(UnusableDisplay, IsNotMapped)
{
    const Unusable& unusable = GetParam();
    const Support::Gap gap(PIXELS * sizeof(std::uint32_t));
    ASSERT_NO_FATAL_FAILURE(Map());
    ASSERT_TRUE(gap.IsMapped());
    TakeTexts("CFBLib");
    if (unusable.failing != nullptr) {
        Sim::Inject(Fault::Fails(unusable.failing, EIO));
    } else {
        g_told = unusable.told;
    }
    EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
    EXPECT_FALSE(gap.IsMapped());
    EXPECT_THAT(TakeTexts("CFBLib"), ElementsAre(StartsWith("[E] [InitializeScreenBuffer] ")));
    Draw();
    EXPECT_EQ(Sim::Screen(), Pixels(PIXELS)) << "nothing is drawn";
}

INSTANTIATE_TEST_SUITE_P(Sizes, UnusableDisplay,
                         testing::Values(Unusable{"refused_query", {}, "ioctl"},
                                         Unusable{"refused_mapping", {}, "mmap"},
                                         Unusable{"no_width", {0, 480}, nullptr},
                                         Unusable{"no_height", {800, 0}, nullptr},
                                         Unusable{"two_to_31_pixels", {65536, 32768}, nullptr},
                                         Unusable{"a_little_more_than_two_to_32", {65537, 65536}, nullptr},
                                         Unusable{"negative_height", {1, 0x80000000}, nullptr},
                                         Unusable{"both_negative", {0xFFFFFFFF, 0xFFFFFFFF}, nullptr}),
                         Support::CASE_NAME);

}  // namespace
