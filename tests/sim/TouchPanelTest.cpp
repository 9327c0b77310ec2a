// The simulated board's touch panel and its operator, read by tslib.
#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
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
    const std::string path = Support::TemporaryPath("ts.conf");
    std::ofstream(path) << "module_raw input\n";
    for (const bool isFiltered : {true, false}) {
        setenv("TSLIB_CONFFILE", isFiltered ? TS_CONF : path.c_str(), 1);
        Sim::Touch({{1, 2, 50}, {1, 2, 60}});  // waits for the panel to be opened
        const Tslib panel;
        Sim::Touch({{799, 479, 255}, {0, 0, 0}, {300, 400, 1}});
        const std::array<int, 3> lifted = isFiltered ? std::array{799, 479, 0} : std::array{0, 0, 0};
        EXPECT_EQ(panel.Read(5), (Samples{{1, 2, 50}, {1, 2, 60}, {799, 479, 255}, lifted, {300, 400, 1}}));
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

TEST_F(TouchPanel, IsTouchedByTheOperatorWhereSomethingAppears)
{
    Sim::UseOperator();
    Draw(700, 400, 30, 0xFFFFFF);  // was there before
    {
        const Tslib panel;
        Draw(10, 20, 41, 0xFFFF00);
        EXPECT_EQ(panel.Touch(), std::pair(30, 40));
    }
    const Tslib panel;  // he begins anew
    Draw(10, 20, 41, 0xFF0000);
    EXPECT_EQ(panel.Touch(), std::pair(30, 40));
    Draw(12, 22, 30, 0x00FF00);  // an answer in the same place
    Draw(500, 300, 11, 0x0000FF);
    EXPECT_EQ(panel.Touch(), std::pair(505, 305));
    Draw(100, 100, 50, 0xFF000000);  // black as before
    Draw(10, 20, 1, 0x123456);
    EXPECT_EQ(panel.Touch(), std::pair(10, 20));
}

TEST_F(TouchPanel, CanMisreadPositions)
{
    Sim::Break("touch-shifted");
    const Tslib panel;
    Sim::Touch({{10, 20, 5}});
    Sim::Break("touch-mirrored");
    Sim::Touch({{10, 20, 5}});
    EXPECT_EQ(panel.Read(2), (Samples{{50, 20, 5}, {799 - 50, 20, 5}}));
}

}  // namespace
