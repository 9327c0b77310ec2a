// The display: its device and its mapping.
#include "ioctl/CFBLib.h"

#include <cerrno>

#include <gmock/gmock.h>
#include <linux/fb.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Gap.h"

namespace {

using Sim::Fault;
using Support::Pixels;
using Support::TakeTexts;
using Support::Texts;

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

    void Map()
    {
        ASSERT_EQ(m_display.Open(), 0);
        ASSERT_EQ(m_display.SetInfo(32, 0, 0, WIDTH, HEIGHT), 0);
        ASSERT_EQ(m_display.InitializeScreenBuffer(), 0);
    }
    /// Everything that draws.
    void Draw()
    {
        Pixels pixels(6, 0x00ABCDEF);
        m_display.ScreenClear(1);
        m_display.DrawPixel(1, 1, 0x123456);
        m_display.setAlpha(7);
        for (const int background : {0, 1}) {
            m_display.DrawBmp(2, 2, {3, 2, pixels.data(), 0, 0, background, 0, nullptr, 0});
        }
    }

    IOCTL::CFBLib m_display;
};

TEST_F(Display, WithoutDeviceNothingWorks)
{
    EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [InitializeScreenBuffer] FB_HANDLE error"});
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 5, 5), -1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts{"[E] [SetInfo] SET_OSD_INFO error"});
    Sim::Inject(Fault::Returns("ioctl", 5));
    EXPECT_EQ(m_display.SetDisplayBrightness(5), -1);
    Draw();
    EXPECT_EQ(TakeTexts("CFBLib").size(), 6U) << "three lines of each bitmap";
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
    Sim::Inject(Fault::Returns("ioctl", 1).Times(2));
    EXPECT_EQ(m_display.SetInfo(32, 0, 0, 1, 1), 0) << "only a negative result is a failure";
    EXPECT_EQ(m_display.SetDisplayBrightness(1), 1);
    EXPECT_EQ(TakeTexts("CFBLib"), Texts());
}

TEST_F(Display, EachMappingIsReleasedAtItsOwnSize)
{
    const Sim::Recording recording;
    {
        IOCTL::CFBLib display;
        for (const int height : {3, 7}) {
            Sim::SetScreenSize(1024, height);
            ASSERT_EQ(display.Open(), 0);
            ASSERT_EQ(display.InitializeScreenBuffer(), 0);
            display.Close();
        }
        display.ScreenClear(5);
        EXPECT_EQ(Sim::Screen(), Pixels(7 * 1024, 0xFFFFFFFF)) << "can be drawn on when the device is closed";
    }
    for (const char* const call : {"mmap", "munmap"}) {
        ASSERT_EQ(recording.Calls(call).size(), 2U) << call;
        EXPECT_EQ(recording.Calls(call)[0].argument, 3 * 4096) << call;
        EXPECT_EQ(recording.Calls(call)[1].argument, 7 * 4096) << call;
    }
}

/// The earlier mapping is gone as well, and drawing changes nothing.
TEST_F(Display, WithoutAUsableSizeOrMappingNothingIsMapped)
{
    struct Size {
        std::uint32_t width, height;
    };
    constexpr Size HEALTHY = {WIDTH, HEIGHT};
    // The largest number of pixels is too much for a 32-bit system; elsewhere only the memory is missing.
    constexpr auto LARGEST = sizeof(std::size_t) > sizeof(std::uint32_t) ? "mmap" : "Screen Size";
    const std::pair<Size, const char*> obstacles[] = {
        {HEALTHY, "FBIOGET_VSCREENINFO"}, {HEALTHY, "mmap"},
        {{0, 480}, "Screen Size"},        {{800, 0}, "Screen Size"},
        {{65536, 32768}, "Screen Size"},  {{65537, 65536}, "Screen Size"},  // 2^31, and a little more than 2^32
        {{1, 0x80000000}, "Screen Size"}, {{0xFFFFFFFF, 0xFFFFFFFF}, "Screen Size"},
        {{0x7FFFFFFF, 1}, LARGEST}};
    for (const auto& [told, error] : obstacles) {
        SCOPED_TRACE(std::to_string(told.width) + " x " + std::to_string(told.height) + " " + error);
        const Support::Gap gap(PIXELS * sizeof(std::uint32_t));
        ASSERT_NO_FATAL_FAILURE(Map());
        ASSERT_TRUE(gap.IsMapped());
        m_display.ScreenClear(0);
        TakeTexts("CFBLib");
        SetAnswer([&told = told, &error = error](unsigned long request, void* argument) -> std::optional<int> {
            if (request != FBIOGET_VSCREENINFO) {
                return std::nullopt;
            }
            static_cast<fb_var_screeninfo*>(argument)->xres = told.width;
            static_cast<fb_var_screeninfo*>(argument)->yres = told.height;
            return error == std::string("FBIOGET_VSCREENINFO") ? -1 : 0;
        });
        const Sim::Recording recording;
        Sim::Inject(Fault::Fails("mmap", ENOMEM));
        EXPECT_EQ(m_display.InitializeScreenBuffer(), -1);
        EXPECT_FALSE(gap.IsMapped());
        EXPECT_EQ(TakeTexts("CFBLib"), Texts{std::string("[E] [InitializeScreenBuffer] ") + error + " error"});
        Draw();
        EXPECT_EQ(Sim::Screen(), Pixels(PIXELS)) << "nothing is drawn";
        Sim::Reset();
        Sim::PowerOn();
        Sim::SetScreenSize(WIDTH, HEIGHT);
        SetAnswer({});
        m_display.Close();
    }
}

}  // namespace
