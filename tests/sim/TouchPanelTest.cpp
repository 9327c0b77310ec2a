// The simulated board's touch panel and its operator, read by tslib.
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <tslib.h>
#include <unistd.h>

#include "sim/SimBoard.h"
#include "tests/support/Program.h"

namespace {

constexpr auto NODE = "/dev/touchscreen/ucb1x00";

using Samples = std::vector<std::array<int, 3>>;  // x, y, pressure

/// The panel as tslib opens and configures it.
class Tslib {
public:
    explicit Tslib(const char* node = NODE) : m_device(ts_open(node, 0), ts_close)
    {
        EXPECT_NE(m_device, nullptr);
        EXPECT_EQ(ts_config(m_device.get()), 0);
    }

    /// The next samples, or fewer when a read fails.
    [[nodiscard]] Samples Read(std::size_t count) const
    {
        Samples samples;
        ts_sample sample = {};
        while (samples.size() < count && ts_read(m_device.get(), &sample, 1) == 1) {
            samples.push_back({sample.x, sample.y, static_cast<int>(sample.pressure)});
        }
        return samples;
    }

    /// Where the next touch lifts the finger.
    [[nodiscard]] std::pair<int, int> Touch() const
    {
        Samples samples = {{0, 0, 1}};
        while (samples.size() == 1 && samples[0][2] != 0) {
            samples = Read(1);
        }
        return samples.empty() ? std::pair(-1, -1) : std::pair(samples[0][0], samples[0][1]);
    }

private:
    std::unique_ptr<tsdev, int (*)(tsdev*)> m_device;
};

class TouchPanel : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("TSLIB_CONFFILE", TS_CONF, 1);
        unsetenv("TSLIB_TSDEVICE");
        Sim::Reset();
        Sim::PowerOn();
    }
    void TearDown() override { Sim::Reset(); }

    /// Fills a square of the screen.
    static void Draw(int left, int top, int size, std::uint32_t colour)
    {
        const int fd = open("/dev/fb0", O_WRONLY);
        const std::vector<std::uint32_t> row(static_cast<std::size_t>(size), colour);
        for (int y = top; y < top + size; ++y) {
            const auto bytes = row.size() * sizeof(std::uint32_t);
            EXPECT_EQ(pwrite(fd, row.data(), bytes, (y * 800 + left) * 4), static_cast<ssize_t>(bytes));
        }
        close(fd);
    }
};

TEST_F(TouchPanel, GivesTheSamplesToTslib)
{
    Sim::Touch({{1, 2, 50}, {1, 2, 60}});  // waits for the panel to be opened
    const Tslib panel;
    Sim::Touch({{799, 479, 255}, {0, 0, 0}, {300, 400, 1}});
    EXPECT_EQ(panel.Read(5), (Samples{{1, 2, 50}, {1, 2, 60}, {799, 479, 255}, {799, 479, 0}, {300, 400, 1}}));
}

TEST_F(TouchPanel, NeedsTheFilterToKnowWhereTheFingerWasLifted)
{
    const std::string path = Support::TemporaryPath("ts.conf");
    std::ofstream(path) << "module_raw input\n";
    setenv("TSLIB_CONFFILE", path.c_str(), 1);
    {
        const Tslib panel;
        Sim::Touch({{30, 40, 50}, {30, 40, 0}});
        EXPECT_EQ(panel.Read(2), (Samples{{30, 40, 50}, {0, 0, 0}}));
    }
    std::remove(path.c_str());
}

TEST_F(TouchPanel, IsWhereTheEnvironmentSays)
{
    setenv("TSLIB_TSDEVICE", "/dev/input/event77", 1);
    EXPECT_EQ(ts_open(NODE, 0), nullptr);
    const Tslib panel("/dev/input/event77");
    Sim::Touch({{5, 6, 7}});
    EXPECT_EQ(panel.Read(1), (Samples{{5, 6, 7}}));
}

TEST_F(TouchPanel, DropsWhatWasNotReadWhenItIsClosed)
{
    {
        const Tslib panel;
        Sim::Touch({{1, 1, 1}, {2, 2, 2}});
        EXPECT_EQ(panel.Read(1), (Samples{{1, 1, 1}}));
    }
    const Tslib panel;
    Sim::Touch({{3, 3, 3}});
    EXPECT_EQ(panel.Read(1), (Samples{{3, 3, 3}}));
}

TEST_F(TouchPanel, KeepsMoreSamplesThanAPipeHolds)
{
    std::vector<Sim::TouchSample> touches;
    Samples expected;
    for (int i = 0; i < 5000; ++i) {
        touches.push_back({i, i + 1, 9});
        expected.push_back({i, i + 1, 9});
    }
    const Tslib panel;
    Sim::Touch(touches);
    EXPECT_EQ(panel.Read(expected.size()), expected);
}

TEST_F(TouchPanel, TellsItsRangesToOneProgramAtATime)
{
    Sim::SetScreenSize(320, 200);
    const int fd = open(NODE, O_RDWR | O_NONBLOCK);
    for (const auto& [axis, maximum] : {std::pair(ABS_X, 319), {ABS_Y, 199}, {ABS_PRESSURE, 255}}) {
        input_absinfo range = {};
        EXPECT_EQ(ioctl(fd, EVIOCGABS(axis), &range), 0);
        EXPECT_EQ(range.minimum, 0);
        EXPECT_EQ(range.maximum, maximum);
    }
    char event[sizeof(input_event)];
    EXPECT_EQ(read(fd, event, sizeof event), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(open(NODE, O_RDONLY), -1);
    EXPECT_EQ(errno, EBUSY);
    close(fd);
}

TEST_F(TouchPanel, IsTouchedByTheOperatorWhereSomethingAppears)
{
    Sim::UseOperator();
    Draw(700, 400, 30, 0xFFFFFF);  // was there before
    const Tslib panel;
    Draw(10, 20, 41, 0xFF0000);
    EXPECT_EQ(panel.Touch(), std::pair(30, 40));
    Draw(12, 22, 30, 0x00FF00);  // an answer in the same place
    Draw(500, 300, 11, 0x0000FF);
    EXPECT_EQ(panel.Touch(), std::pair(505, 305));
    Draw(100, 100, 50, 0xFF000000);  // black as before
    std::thread later([] { Draw(10, 20, 1, 0x123456); });
    EXPECT_EQ(panel.Touch(), std::pair(10, 20));
    later.join();
}

TEST_F(TouchPanel, BeginsAnewWithTheOperatorWhenItIsOpenedAgain)
{
    Sim::UseOperator();
    for (const std::uint32_t colour : {1U, 2U}) {
        const Tslib panel;
        Draw(10, 10, 3, colour);
        EXPECT_EQ(panel.Touch(), std::pair(11, 11));
    }
}

const std::vector<Sim::TouchSample> THREE_TOUCHES = {{10, 20, 5}, {10, 20, 0}, {30, 40, 5},
                                                     {30, 40, 0}, {50, 60, 5}, {50, 60, 0}};

TEST_F(TouchPanel, CanMisreadPositions)
{
    Sim::Break("touch-shifted");
    const Tslib panel;
    Sim::Touch({{10, 20, 5}});
    Sim::Break("touch-mirrored");
    Sim::Touch({{10, 20, 5}});
    EXPECT_EQ(panel.Read(2), (Samples{{50, 20, 5}, {799 - 50, 20, 5}}));
}

TEST_F(TouchPanel, CanBeUnpluggedAfterTwoTouches)
{
    Sim::Break("touch-unplugged");
    const Tslib panel;
    Sim::Touch(THREE_TOUCHES);
    EXPECT_EQ(panel.Read(6), (Samples{{10, 20, 5}, {10, 20, 0}, {30, 40, 5}, {30, 40, 0}}));
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(TouchPanel, CanFallSilentAfterTwoTouches)
{
    Sim::Break("touch-silent");
    const int fd = open(NODE, O_RDONLY | O_NONBLOCK);
    Sim::Touch(THREE_TOUCHES);
    std::vector<int> pressures;
    for (input_event event = {}; read(fd, &event, sizeof event) == static_cast<ssize_t>(sizeof event);) {
        if (event.type == EV_KEY) {
            pressures.push_back(event.value);
        }
    }
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(pressures, (std::vector{1, 0, 1, 0}));
    close(fd);
}

TEST_F(TouchPanel, CanBeMissing)
{
    Sim::Break("touch-missing");
    EXPECT_EQ(ts_open(NODE, 0), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
