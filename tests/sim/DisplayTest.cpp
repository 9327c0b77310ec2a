// The simulated board's display, through plain calls of the C library.
#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "sim/SimBoard.h"

namespace {

using Area = std::array<std::int32_t, 6>;

constexpr unsigned long SET_OSD_INFO = 0x4018466F;
constexpr unsigned long SET_BRIGHTNESS = 0x40044602;

class Display : public testing::Test {
protected:
    Display()
    {
        Sim::Reset();
        Sim::PowerOn();
        m_fd = open("/dev/fb0", O_RDWR);
    }
    ~Display() override
    {
        close(m_fd);
        Sim::Reset();
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    /// 0, or the error number of the request.
    int Request(unsigned long request, void* argument) const { return ioctl(m_fd, request, argument) == 0 ? 0 : errno; }

    /// Puts pixels on the screen from its first on, through a mapping that is then gone.
    void Draw(std::initializer_list<std::uint32_t> pixels) const
    {
        const std::size_t size = pixels.size() * sizeof(std::uint32_t);
        void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        ASSERT_NE(memory, MAP_FAILED);
        std::copy(pixels.begin(), pixels.end(), static_cast<std::uint32_t*>(memory));
        ASSERT_EQ(munmap(memory, size), 0);
    }

    int m_fd = -1;
};

TEST_F(Display, KeepsWhatWasDrawnThroughAMapping)
{
    EXPECT_EQ(Sim::Screen(), std::vector<std::uint32_t>(800 * 480, 0));
    Draw({0xFF102030, 7});
    close(m_fd);
    m_fd = open("/dev/fb0", O_RDWR | O_CREAT | O_TRUNC, 0600);  // as a shell's > does
    Draw({0xFF102030});
    EXPECT_EQ(pwrite(m_fd, "abcd", 4, 8), 4);
    const std::vector<std::uint32_t> screen = Sim::Screen();
    EXPECT_EQ(std::vector(screen.begin(), screen.begin() + 4),
              (std::vector<std::uint32_t>{0xFF102030, 7, 0x64636261, 0}));
    EXPECT_EQ(screen.size(), 800U * 480U);
}

TEST_F(Display, TellsItsSizeAndFormat)
{
    close(m_fd);
    Sim::SetScreenSize(320, 200);
    m_fd = open("/dev/fb0", O_RDWR);
    fb_var_screeninfo variable = {};
    ASSERT_EQ(Request(FBIOGET_VSCREENINFO, &variable), 0);
    EXPECT_EQ((std::array{variable.xres, variable.yres, variable.xres_virtual, variable.yres_virtual}),
              (std::array<__u32, 4>{320, 200, 320, 200}));
    EXPECT_EQ((std::array{variable.bits_per_pixel, variable.red.offset, variable.green.offset, variable.blue.offset}),
              (std::array<__u32, 4>{32, 16, 8, 0}));
    fb_fix_screeninfo fixed = {};
    ASSERT_EQ(Request(FBIOGET_FSCREENINFO, &fixed), 0);
    EXPECT_EQ(fixed.line_length, 1280U);
    EXPECT_EQ(fixed.smem_len, 256000U);
    EXPECT_EQ(lseek(m_fd, 0, SEEK_END), 256000);
    EXPECT_EQ(Sim::Screen().size(), 64000U);
    EXPECT_THROW(Sim::SetScreenSize(0, 200), std::invalid_argument);
    EXPECT_THROW(Sim::SetScreenSize(320, 8193), std::invalid_argument);
}

TEST_F(Display, AcceptsAreasInsideTheScreenAlone)
{
    EXPECT_EQ(Sim::DisplayArea(), std::nullopt);
    for (Area area : {Area{0, 32, 800, 480, 0, 0}, Area{0, 32, 1, 1, 799, 479}}) {
        EXPECT_EQ(Request(SET_OSD_INFO, area.data()), 0);
        EXPECT_EQ(Sim::DisplayArea(), area);
    }
    for (Area area :
         {Area{0, 16, 800, 480, 0, 0}, Area{0, 32, 801, 480, 0, 0}, Area{0, 32, 800, 480, 0, 1},
          Area{0, 32, 10, 10, -1, 0}, Area{0, 32, 0, 10, 0, 0}, Area{0, 32, 0x7FFFFFFF, 1, 0x7FFFFFFF, 0}}) {
        EXPECT_EQ(Request(SET_OSD_INFO, area.data()), EINVAL) << testing::PrintToString(area);
    }
    EXPECT_EQ(Sim::DisplayArea(), (Area{0, 32, 1, 1, 799, 479}));
}

TEST_F(Display, AcceptsBrightnessInPercent)
{
    EXPECT_EQ(Sim::Brightness(), 100);
    for (std::int32_t level : {0, 100, 37}) {
        EXPECT_EQ(Request(SET_BRIGHTNESS, &level), 0);
        EXPECT_EQ(Sim::Brightness(), level);
    }
    for (std::int32_t level : {-1, 101}) {
        EXPECT_EQ(Request(SET_BRIGHTNESS, &level), EINVAL);
    }
    EXPECT_EQ(Sim::Brightness(), 37);
    EXPECT_EQ(Request(FBIOBLANK, nullptr), ENOTTY);
}

}  // namespace
