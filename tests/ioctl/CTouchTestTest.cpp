// The check of the touch panel: what it shows, records and logs while somebody touches the panel.
#include "ioctl/CTouchTest.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <memory>

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <tslib.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"

namespace {

/// Answers a read of the panel in tslib's place, or returns nothing: tslib then reads it.
std::function<std::optional<int>()> g_answerRead;

}  // namespace

extern "C" __attribute__((visibility("default"))) int ts_read(tsdev* device, ts_sample* samples, int count)
{
    static auto* const next = reinterpret_cast<int (*)(tsdev*, ts_sample*, int)>(dlsym(RTLD_NEXT, "ts_read"));
    const std::optional<int> answer = g_answerRead ? g_answerRead() : std::nullopt;
    return answer ? *answer : next(device, samples, count);
}

namespace {

using Sim::Fault;
using Support::Bytes;
using Support::Pixels;
using Support::Texts;

constexpr int WIDTH = 64;
constexpr int HEIGHT = 48;
constexpr int TOUCHES = 5;

struct Point {
    int x, y;
};
using Points = std::vector<Point>;

/// What `StartTest` is given besides the images, and where it shows them.
struct Arguments {
    int width, height, bmpWidth, bmpHeight, margin;
    Points targets;
};
const Arguments WHOLE = {WIDTH, HEIGHT, 6, 5, 10, {{10, 10}, {48, 10}, {48, 33}, {10, 33}, {29, 21}}};

/// An image that is shown, made by `Pattern`.
struct Image {
    int width, height;
    unsigned int seed;
};
constexpr Image TARGET = {6, 5, 1};
constexpr Image DONE = {4, 3, 2};

/// Puts an image into a picture of the screen, as far as it is inside the area.
void Show(Pixels& screen, const Arguments& area, const Point& at, const Image& image)
{
    const Pixels pixels = Support::Pattern(image.width, image.height, image.seed);
    for (int i = 0; i < image.width * image.height; ++i) {
        const std::int64_t x = std::int64_t{at.x} + i % image.width;
        const std::int64_t y = std::int64_t{at.y} + i / image.width;
        if (x >= 0 && y >= 0 && x < area.width && y < area.height) {
            screen[static_cast<std::size_t>(y * WIDTH + x)] = pixels[static_cast<std::size_t>(i)];
        }
    }
}

class Touching : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        Sim::SetScreenSize(WIDTH, HEIGHT);
        setenv("TSLIB_CONFFILE", TS_CONF, 1);
        unsetenv("TSLIB_TSDEVICE");
        IOCTL::CFBLib display;
        display.Open();
        display.InitializeScreenBuffer();
        display.ScreenClear(1);
        Sim::TakeLog();
    }
    void TearDown() override
    {
        g_answerRead = {};
        Board::TearDown();
    }

    int Start(const Arguments& with, const char* target, const char* done)
    {
        return m_check.StartTest(with.width, with.height, target, done, with.bmpWidth, with.bmpHeight, with.margin);
    }
    int Start(const Arguments& with) { return Start(with, m_target.Path(), m_done.Path()); }
    /// The 20 bytes, and one that must not be written.
    Bytes Result()
    {
        Bytes bytes(IOCTL::CTouchTest::RESULT_SIZE + 1, 0x5A);
        m_check.GetTouchXY(bytes.data());
        return bytes;
    }
    static void TouchAt(const Points& points)
    {
        for (const Point& point : points) {
            Sim::Touch({{point.x, point.y, 40}, {0, 0, 0}});
        }
    }

    Support::MemoryFile m_target{Support::BmpFile(TARGET.width, TARGET.height, TARGET.seed)};
    Support::MemoryFile m_done{Support::BmpFile(DONE.width, DONE.height, DONE.seed)};
    IOCTL::CTouchTest m_check;
};

TEST_F(Touching, ATargetIsShownUntilItIsTouchedAndThenTheConfirmation)
{
    const Points far = {
        {INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}, {1'073'741'853, 1'073'741'845}};
    const Arguments all[] = {{61, 40, 4, 3, 0, {{0, 0}, {57, 0}, {57, 37}, {0, 37}, {28, 18}}},
                             // Sizes that are not those of the images; half of -3 is -1.
                             {64, 48, 67, 51, -2, {{-2, -2}, {-1, -2}, {-1, -1}, {-2, -1}, {-1, -1}}},
                             // Positions that must not wrap around.
                             {WIDTH, HEIGHT, INT_MIN + 5, INT_MIN + 5, INT_MIN, far},
                             WHOLE};
    constexpr auto PRINTED = "[StartTest] Touch1: x=101 y=199\n[StartTest] Touch2: x=300 y=1000\n"
                             "[StartTest] Touch3: x=70000 y=-1\n[StartTest] Touch4: x=-70000 y=65535\n"
                             "[StartTest] Touch5: x=32767 y=256\n";
    const auto before = Support::OpenDescriptors();
    for (const Arguments& arguments : all) {
        SCOPED_TRACE(arguments.bmpWidth);
        Pixels screen(WIDTH * HEIGHT);
        TouchAt({{101, 199}, {300, 1000}, {70'000, -1}, {-70'000, 65'535}, {32'767, 256}});
        int reads = 0;
        g_answerRead = [&] {
            const auto touch = static_cast<std::size_t>(reads / 2);
            if (reads++ % 2 == 0) {
                Show(screen, arguments, arguments.targets[touch], TARGET);
                EXPECT_EQ(Sim::Screen(), screen) << "while waiting for touch " << touch + 1;
                Show(screen, arguments, arguments.targets[touch], DONE);
            }
            return std::nullopt;
        };
        testing::internal::CaptureStdout();
        {
            const Support::Steps steps;
            EXPECT_EQ(Start(arguments), 0);
            const Texts taken = steps.Taken();
            EXPECT_EQ(std::count(taken.begin(), taken.end(), "usleep 100000"), 4) << "after each touch but the last";
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), PRINTED);
        EXPECT_EQ(Sim::Screen(), screen);
        EXPECT_EQ(Sim::DisplayArea(), (std::array<std::int32_t, 6>{0, 32, arguments.width, arguments.height, 0, 0}));
        EXPECT_EQ(Result(), (Bytes{0x00, 0x65, 0x00, 0xC7, 0x01, 0x2C, 0x03, 0xE8, 0x11, 0x70, 0xFF,
                                   0xFF, 0xEE, 0x90, 0xFF, 0xFF, 0x7F, 0xFF, 0x01, 0x00, 0x5A}));
        EXPECT_EQ(Support::OpenDescriptors(), before);
    }

    Texts lines = Support::TakeTexts();
    lines.erase(lines.begin(), std::find(lines.rbegin(), lines.rend(), "[D] [CFBLib] Logger Start.").base());
    const char* const first[] = {"[D] [StartTest] START",     "[D] [StartTest] Load bmp1", "[D] [CreateBitmap] START",
                                 "[D] [StartTest] Load bmp2", "[D] [CreateBitmap] START",  "[D] [StartTest] Touch 1",
                                 "[D] [DrawBmp] START",       "[D] [DrawBmp] 6 5\n",       "[D] [DrawBmp] Success",
                                 "[D] [Wait_TS] START",       ":    101    199     40\n",  ":    101    199      0\n",
                                 "[D] [Wait_TS] END",         "[D] x=101 y=199\n",         "[D] [DrawBmp] START",
                                 "[D] [DrawBmp] 4 3\n",       "[D] [DrawBmp] Success",     "[D] [StartTest] Touch 2"};
    ASSERT_EQ(lines.size(), 6U + TOUCHES * 12);
    for (std::size_t i = 0; i < std::size(first); ++i) {
        EXPECT_THAT(lines[i], testing::EndsWith(first[i]));
    }
    EXPECT_EQ(lines[5 + 4 * 12], "[D] [StartTest] Touch 5 29 21");
    EXPECT_EQ(lines.back(), "[D] [StartTest] END");
}

TEST_F(Touching, EachSampleIsLoggedAndThePointIsThatOfTheOneThatLiftsTheFinger)
{
    const std::unique_ptr<tsdev, decltype(&ts_close)> panel(ts_open("/dev/touchscreen/ucb1x00", 0), ts_close);
    ASSERT_EQ(ts_config(panel.get()), 0);
    int reads = 0;
    // Without a sample the finger is not lifted yet.
    g_answerRead = [&] { return reads++ < 2 ? std::optional(0) : std::nullopt; };
    const auto before = time(nullptr);
    Sim::Touch({{100, 200, 50}, {101, 199, 1}, {0, 0, 0}});
    IOCTL::tTOUCHXY point = {-5, -6};
    EXPECT_EQ(m_check.Wait_TS(panel.get(), &point), 0);
    EXPECT_EQ(std::pair(point.nX, point.nY), std::pair(101, 199));
    const Texts lines = Support::TakeTexts("CTouchTest");
    ASSERT_EQ(lines.size(), 5U);
    const char* const samples[] = {"   100    200     50", "   101    199      1", "   101    199      0"};
    for (std::size_t i = 0; i < std::size(samples); ++i) {
        EXPECT_THAT(lines[i + 1],
                    testing::MatchesRegex(std::string("\\[D\\] [0-9]+\\.[0-9]{6}: ") + samples[i] + "\n"));
        EXPECT_GE(std::stol(lines[i + 1].substr(4)), before);
        EXPECT_LE(std::stol(lines[i + 1].substr(4)), time(nullptr) + 1);
    }
}

TEST_F(Touching, AReadErrorKeepsTheEarlierPointsOfTheRunAndTheLaterOfAnEarlierRun)
{
    setenv("TSLIB_TSDEVICE", "/dev/input/event7", 1);
    const auto before = Support::OpenDescriptors();
    const Support::Steps steps;
    TouchAt({{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}});
    EXPECT_EQ(Start(WHOLE), 0);
    const std::string opened = "open /dev/input/event7 " + std::to_string(O_RDWR);
    EXPECT_THAT(steps.Taken(), testing::Contains(opened)) << "reads are to wait for a touch";
    TouchAt({{10, 1}, {20, 2}});
    int reads = 0;
    g_answerRead = [&] { return reads++ < 4 ? std::nullopt : std::optional(-1); };
    EXPECT_EQ(Start(WHOLE), -1);
    EXPECT_EQ(Support::TakeTexts().back(), "[E] [Wait_TS] ts_read error");
    EXPECT_EQ(Result(), (Bytes{0, 10, 0, 1, 0, 20, 0, 2, 0, 3, 0, 3, 0, 4, 0, 4, 0, 5, 0, 5, 0x5A}));
    EXPECT_EQ(Support::OpenDescriptors(), before);
}

/// What keeps the check from starting, and its line.
struct Obstacle {
    const char* error;
    std::function<void()> prepare;
    const char* target = "";  // empty: a healthy image
    const char* done = "";
    bool isScreenBlack = false;
};

TEST_F(Touching, AnObstacleEndsTheRunWithItsLine)
{
    const auto nothing = [] {};
    const Obstacle obstacles[] = {
        {"Image path is NULL", nothing, nullptr},
        {"Image path is NULL", nothing, "", nullptr},
        {"Failed to Open fb device", [] { Sim::Inject(Fault::Fails("open", EACCES)); }},
        {"Failed to set screen information", [] { Sim::Break("display-refuses"); }},
        {"Failed to Initialize Screen Buffer", [] { Sim::Inject(Fault::Fails("mmap", ENOMEM)); }},
        {"Failed to Create Bitmap 1", nothing, "/nonexistent"},
        {"Failed to Create Bitmap 2", nothing, "", "/nonexistent"},
        {"ts_open error", [] { Sim::Break("touch-missing"); }, "", "", true},
        {"ts_config error", [] { setenv("TSLIB_CONFFILE", "/nonexistent", 1); }, "", "", true}};
    const auto choose = [](const char* path, const Support::MemoryFile& healthy) {
        return path == nullptr || *path != '\0' ? path : healthy.Path();
    };
    // One check throughout: it keeps its images.
    for (const auto& [error, prepare, target, done, isScreenBlack] : obstacles) {
        SCOPED_TRACE(error);
        SetUp();
        const auto before = Support::OpenDescriptors();
        const Sim::Recording recording;
        prepare();
        EXPECT_EQ(Start(WHOLE, choose(target, m_target), choose(done, m_done)), -1);
        EXPECT_EQ(Support::TakeTexts().back(), std::string("[E] [StartTest] ") + error);
        EXPECT_EQ(Sim::Screen(), Pixels(WIDTH * HEIGHT, isScreenBlack ? 0U : 0xFFFFFFFFU));
        EXPECT_EQ(Support::OpenDescriptors(), before);
        EXPECT_EQ(Result(), Bytes(20, 0) + Bytes(1, 0x5A));
        EXPECT_EQ(recording.Calls("open").empty(), target == nullptr || done == nullptr)
            << "without paths nothing is opened";
    }
}

}  // namespace
