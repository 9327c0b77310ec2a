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
    }
    ~Display() override
    {
        close(m_fd);
        Sim::Reset();
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    void Open() { m_fd = open("/dev/fb0", O_RDWR); }

    /// 0, or the error number of the request.
    int Request(unsigned long request, void* argument) const { return ioctl(m_fd, request, argument) == 0 ? 0 : errno; }

    /// Puts pixels on the screen from its first on, through a mapping that is then gone.
    static void Draw(int fd, std::initializer_list<std::uint32_t> pixels)
    {
        const std::size_t size = pixels.size() * sizeof(std::uint32_t);
        void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        ASSERT_NE(memory, MAP_FAILED);
        std::copy(pixels.begin(), pixels.end(), static_cast<std::uint32_t*>(memory));
        ASSERT_EQ(munmap(memory, size), 0);
    }

    int m_fd = -1;
};

TEST_F(Display, KeepsWhatWasDrawnThroughAMapping)
{
    EXPECT_EQ(Sim::Screen(), std::vector<std::uint32_t>(800 * 480, 0));
    Open();
    Draw(m_fd, {0xFF102030, 7});
    close(m_fd);
    Open();
    const int other = open("/dev/fb0", O_WRONLY | O_CREAT | O_TRUNC, 0600);  // as a shell's > does
    EXPECT_GE(other, 0);
    Draw(m_fd, {0xFF102030});
    EXPECT_EQ(pwrite(other, "abcd", 4, 8), 4);
    close(other);
    const std::vector<std::uint32_t> screen = Sim::Screen();
    EXPECT_EQ(std::vector(screen.begin(), screen.begin() + 4),
              (std::vector<std::uint32_t>{0xFF102030, 7, 0x64636261, 0}));
    EXPECT_EQ(screen.size(), 800U * 480U);
}

TEST_F(Display, TellsItsSizeAndFormat)
{
    Sim::SetScreenSize(320, 200);
    Open();
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
    Open();
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
    Sim::Break("display-refuses");
    Area whole = {0, 32, 800, 480, 0, 0};
    EXPECT_EQ(Request(SET_OSD_INFO, whole.data()), EINVAL);
}

TEST_F(Display, AcceptsBrightnessInPercent)
{
    Open();
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

TEST_F(Display, CanBeMissing)
{
    Sim::Break("display-missing");
    Open();
    EXPECT_EQ(m_fd, -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Display, HasMappingsAndSeeksThatFailAndAreRecorded)
{
    Open();
    const Sim::Recording recording;
    Sim::Inject(Sim::Fault::Fails("mmap", ENOMEM));
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, m_fd, 0), MAP_FAILED);
    EXPECT_EQ(errno, ENOMEM);
    Draw(m_fd, {1});
    Sim::Inject(Sim::Fault::Fails("lseek", ESPIPE));
    EXPECT_EQ(lseek(m_fd, 12, SEEK_SET), -1);
    EXPECT_EQ(errno, ESPIPE);
    EXPECT_EQ(lseek(m_fd, 16, SEEK_SET), 16);

    std::vector<std::tuple<std::string, int, long, long>> calls;
    for (const Sim::Call& call : recording.Calls()) {
        calls.emplace_back(call.name, call.fd, call.argument, call.result);
    }
    const decltype(calls) expected = {{"mmap", m_fd, 4096, -1},
                                      {"mmap", m_fd, 4, 0},
                                      {"munmap", -1, 4, 0},
                                      {"lseek", m_fd, 12, -1},
                                      {"lseek", m_fd, 16, 16}};
    EXPECT_EQ(calls, expected);
}

}  // namespace
