// The display: its device and its mapping.
#include "ioctl/CFBLib.h"

#include <cerrno>
#include <cstdarg>
#include <optional>

#include <dlfcn.h>
#include <fcntl.h>
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
constexpr auto SET_INFO_ERROR = "[E] [SetInfo] SET_OSD_INFO error";
constexpr auto HANDLE_ERROR = "[E] [InitializeScreenBuffer] FB_HANDLE error";
constexpr long PAGE = Support::Gap::PAGE;

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
        TakeTexts("CFBLib");
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

TEST_F(Display, ThatIsMissingIsLoggedAndTriedAgain)
{
    Sim::Inject(Fault::Fails("open", EACCES));
    EXPECT_EQ(m_display.Open(), -1);
    EXPECT_EQ(m_display.IsOpen(), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [FB] /dev/fb0 open error"});
    EXPECT_EQ(m_display.Open(), 0);
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
        EXPECT_EQ(recording.Calls("ioctl").at(0).fd, 0);
        Sim::Inject(Fault::Fails("ioctl", EIO));
        EXPECT_EQ(display.InitializeScreenBuffer(), -1);
        EXPECT_EQ(recording.Calls("ioctl").at(1).fd, 0);
    }
    EXPECT_EQ(recording.Calls("close").size(), 0U) << "the destructor leaves it open";
    Sim::Inject(Fault::Returns("open", 0));
    EXPECT_EQ(m_display.Open(), 0);
    Sim::Inject(Fault::Returns("close", 0));
    m_display.Close();
    EXPECT_EQ(recording.Calls("close").at(0).fd, 0) << "Close does not";
}

TEST_F(Display, WithoutDeviceNothingWorks)
{
    const Sim::Recording recording;
    EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{HANDLE_ERROR});
    EXPECT_EQ(m_display.SetDisplayBrightness(5), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
    EXPECT_EQ(recording.Calls().size(), 0U);
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 5, 5), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{SET_INFO_ERROR});
    Draw();
    EXPECT_EQ(TakeTexts("CFBLib").size(), 6U) << "three lines of each bitmap";
}

TEST_F(Display, TheAreaIsSentWithItsSizeInFront)
{
    ASSERT_EQ(m_display.Open(), 0);
    const Sim::Recording recording;
    EXPECT_EQ(m_display.SetInfo(32, 3, 5, 40, 20), 0);
    EXPECT_EQ(Sim::DisplayArea(), (std::array<std::int32_t, 6>{0, 32, 40, 20, 3, 5}));
    EXPECT_EQ(Support::Calls(recording), Texts{"ioctl " + std::to_string(0x4018466F)});
    Sim::Inject(Fault::Returns("ioctl", 1));
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 1, 1), 0) << "only a negative result is a failure";
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
}

TEST_F(Display, AnAreaThatIsRefusedBoundsDrawingAllTheSame)
{
    Map();
    Sim::Inject(Fault::Fails("ioctl", EIO));
    EXPECT_EQ(m_display.SetInfo(32, 10, 10, 20, 9), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{SET_INFO_ERROR});
    for (const auto& [x, y] : {std::pair{0, 0}, {19, 8}, {20, 0}, {0, 9}, {-1, 1}, {1, -1}}) {
        m_display.DrawPixel(x, y, 0xFF00FF00);
    }
    Pixels expected(PIXELS);
    expected[0] = expected[8 * WIDTH + 19] = 0xFF00FF00;
    EXPECT_EQ(Sim::Screen(), expected) << "coordinates begin at the screen's corner, not at the area's";
}

TEST_F(Display, BrightnessIsHandedOnUnchanged)
{
    ASSERT_EQ(m_display.Open(), 0);
    const Sim::Recording recording;
    EXPECT_EQ(m_display.SetDisplayBrightness(37), 0);
    EXPECT_EQ(Sim::Brightness(), 37);
    EXPECT_EQ(recording.Calls("ioctl").at(0).argument, 0x40044602);
    EXPECT_EQ(m_display.SetDisplayBrightness(-1), -1);
    EXPECT_EQ(m_display.SetDisplayBrightness(1'000'000), -1);
    EXPECT_EQ(Sim::Brightness(), 37);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
}

TEST_F(Display, WhatIsDrawnStaysWhenTheDeviceIsClosedAndTheObjectGone)
{
    {
        CFBLib display;
        ASSERT_EQ(display.Open(), 0);
        ASSERT_EQ(display.SetInfo(32, 0, 0, WIDTH, HEIGHT), 0);
        ASSERT_EQ(display.InitializeScreenBuffer(), 0);
        display.ScreenClear(5);
        EXPECT_EQ(Sim::Screen(), Pixels(PIXELS, 0xFFFFFFFF));
        display.Close();
        display.ScreenClear(0);
        display.DrawPixel(WIDTH - 1, HEIGHT - 1, 0x00C0FFEE);
    }
    Pixels expected(PIXELS);
    expected.back() = 0x00C0FFEE;
    EXPECT_EQ(Sim::Screen(), expected);
}

TEST_F(Display, EachMappingIsReleasedAtItsOwnSize)
{
    const Support::Gap first(3 * PAGE);
    std::optional<CFBLib> display(std::in_place);
    Sim::SetScreenSize(1024, 3);
    ASSERT_EQ(display->Open(), 0);
    ASSERT_EQ(display->InitializeScreenBuffer(), 0);
    ASSERT_EQ(first.MappedPages(), 3U);
    display->Close();

    Sim::SetScreenSize(1024, 7);
    ASSERT_EQ(display->Open(), 0);
    const Sim::Recording recording;
    ASSERT_EQ(display->InitializeScreenBuffer(), 0);
    display.reset();
    EXPECT_EQ(first.MappedPages(), 0U);
    std::vector<std::int64_t> sizes;
    for (const Sim::Call& call : recording.Calls("munmap")) {
        sizes.push_back(call.argument);
    }
    EXPECT_EQ(sizes, (std::vector<std::int64_t>{3 * PAGE, 7 * PAGE}));
    EXPECT_EQ(recording.Calls("mmap").at(0).argument, long{7 * PAGE});
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
    for (const bool wasMapped : {false, true}) {
        SCOPED_TRACE(wasMapped ? "mapped before" : "not mapped before");
        const Support::Gap gap(PIXELS * sizeof(std::uint32_t));
        ASSERT_EQ(m_display.Open(), 0);
        ASSERT_EQ(m_display.SetInfo(32, 0, 0, WIDTH, HEIGHT), 0);
        if (wasMapped) {
            ASSERT_EQ(m_display.InitializeScreenBuffer(), 0);
            ASSERT_EQ(gap.MappedPages(), gap.Pages());
        }
        TakeTexts("CFBLib");
        if (unusable.failing != nullptr) {
            Sim::Inject(Fault::Fails(unusable.failing, EIO));
        } else {
            g_told = unusable.told;
        }
        EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
        g_told.reset();
        EXPECT_EQ(gap.MappedPages(), 0U);
        const Texts lines = TakeTexts("CFBLib");
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].rfind("[E] [InitializeScreenBuffer] ", 0), 0U) << lines[0];
        Draw();
        EXPECT_EQ(Sim::Screen(), Pixels(PIXELS)) << "nothing is drawn";
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, UnusableDisplay,
                         testing::Values(Unusable{"refused_query", {}, "ioctl"},
                                         Unusable{"refused_mapping", {}, "mmap"},
                                         Unusable{"no_width", {0, 480}, nullptr},
                                         Unusable{"no_height", {800, 0}, nullptr},
                                         Unusable{"two_to_32_pixels", {65536, 65536}, nullptr},
                                         Unusable{"two_to_31_pixels", {65536, 32768}, nullptr},
                                         Unusable{"a_little_more", {65537, 65536}, nullptr},
                                         Unusable{"negative_width", {0xFFFFFFFF, 1}, nullptr},
                                         Unusable{"negative_height", {1, 0x80000000}, nullptr},
                                         Unusable{"both_negative", {0xFFFFFFFF, 0xFFFFFFFF}, nullptr}),
                         Support::CASE_NAME);

TEST_F(Display, PixelsAreDarkenedAndBlended)
{
    Map();
    m_display.DrawPixel(0, 0, 0xFFFF8001);
    m_display.setAlpha(128);
    EXPECT_EQ(Sim::Screen()[0], 0x007F4000U);

    const auto blend = [&](std::uint32_t pixel, std::uint32_t background, int alpha) {
        tBMP bmp = {1, 1, &pixel, 0, 0, 1, background, nullptr, alpha};
        m_display.DrawBmp(0, 0, bmp);
        return Sim::Screen()[0];
    };
    EXPECT_EQ(blend(0x00FF8040, 0, 128), 0x007F4020U);
    EXPECT_EQ(blend(0x00FFFFFF, 0, 255), 0x00FEFEFEU);
    EXPECT_EQ(blend(0xAA123456, 0x55FF00FF, 0), 0x00FF00FFU);
    EXPECT_EQ(blend(0xAA123456, 0x55FF00FF, 256), 0xAA123456U);
}

}  // namespace
