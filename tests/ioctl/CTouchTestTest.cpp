// The check of the touch panel: what it shows, records and logs while somebody touches the panel.
#include "ioctl/CTouchTest.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <future>
#include <memory>

#include <gmock/gmock.h>
#include <tslib.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Wait.h"

namespace {

using IOCTL::CTouchTest;
using IOCTL::tTOUCHXY;
using Sim::Fault;
using Support::Bytes;
using Support::Pattern;
using Support::Pixels;
using Support::Texts;

constexpr int WIDTH = 64;
constexpr int HEIGHT = 48;
constexpr int TOUCHES = 5;
constexpr auto DEFAULT_PANEL = "/dev/touchscreen/ucb1x00";
constexpr auto WAITS = "[CTouchTest] [D] [Wait_TS] START";

struct Point {
    int x;
    int y;
};
using Points = std::vector<Point>;

/// The lines logged since the last call, with their logger in front and without the time of a sample.
Texts TakeLines()
{
    Texts lines;
    for (const Sim::LogLine& line : Sim::TakeLog()) {
        const bool isSample = line.text.size() > 4 && std::isdigit(line.text[4]) != 0;
        lines.push_back(line.identity + " " +
                        (isSample ? "[D] TIME" + line.text.substr(line.text.find(':')) : line.text));
    }
    return lines;
}

Texts Joined(Texts lines, const Texts& more)
{
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

std::string Format(const char* format, int a, int b, int c = 0)
{
    char text[100];
    std::snprintf(text, sizeof text, format, a, b, c);
    return text;
}

/// The 20 bytes of five points.
Bytes Packed(const Points& points)
{
    Bytes bytes;
    for (const Point& point : points) {
        for (const int value : {point.x, point.y}) {
            bytes.push_back(static_cast<unsigned char>(static_cast<unsigned int>(value) >> 8));
            bytes.push_back(static_cast<unsigned char>(value));
        }
    }
    return bytes;
}

Bytes Result(CTouchTest& check)
{
    Bytes bytes(CTouchTest::RESULT_SIZE + 1, 0x5A);
    check.GetTouchXY(bytes.data());
    EXPECT_EQ(bytes.back(), 0x5A) << "more than 20 bytes are written";
    bytes.pop_back();
    return bytes;
}

/// What `StartTest` is given besides the images.
struct Arguments {
    const char* name;
    int width, height, bmpWidth, bmpHeight, margin;
    Points targets;
};

/// An image that is shown, made by `Pattern`.
struct Image {
    int width, height;
    unsigned int seed;
};
constexpr Image TARGET = {6, 5, 1};
constexpr Image DONE = {4, 3, 2};

const Arguments WHOLE = {
    "whole", WIDTH, HEIGHT, TARGET.width, TARGET.height, 10, {{10, 10}, {48, 10}, {48, 33}, {10, 33}, {29, 21}}};

class Touching : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        Sim::SetScreenSize(WIDTH, HEIGHT);
        setenv("TSLIB_CONFFILE", TS_CONF, 1);
        unsetenv("TSLIB_TSDEVICE");
        TakeLines();
    }
    void TearDown() override
    {
        unsetenv("TSLIB_CONFFILE");
        unsetenv("TSLIB_TSDEVICE");
        Board::TearDown();
    }

    int Start(const Arguments& with, const char* target, const char* done)
    {
        return m_check.StartTest(with.width, with.height, target, done, with.bmpWidth, with.bmpHeight, with.margin);
    }
    int Start(const Arguments& with) { return Start(with, m_target.Path(), m_done.Path()); }

    static void FillScreen()
    {
        IOCTL::CFBLib display;
        ASSERT_EQ(display.Open(), 0);
        ASSERT_EQ(display.InitializeScreenBuffer(), 0);
        display.ScreenClear(1);
        TakeLines();
    }

    Support::MemoryFile m_target{Support::BmpFile(TARGET.width, TARGET.height, TARGET.seed)};
    Support::MemoryFile m_done{Support::BmpFile(DONE.width, DONE.height, DONE.seed)};
    CTouchTest m_check;
};

/// A run of the check while the test looks at the screen and touches the panel.
class CheckRun {
public:
    explicit CheckRun(std::function<int()> start) : m_result(std::async(std::launch::async, std::move(start))) {}

    /// Waits until the check waits for a touch.
    void AwaitWaiting()
    {
        EXPECT_TRUE(Support::WaitFor([&] {
            m_lines = Joined(m_lines, TakeLines());
            const bool isOver = m_result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
            return isOver || std::count(m_lines.begin(), m_lines.end(), WAITS) > m_waits;
        }));
        ++m_waits;
    }
    int Finish()
    {
        const int result = m_result.get();
        m_lines = Joined(m_lines, TakeLines());
        return result;
    }
    [[nodiscard]] const Texts& Lines() const { return m_lines; }

private:
    Texts m_lines;
    std::ptrdiff_t m_waits = 0;
    std::future<int> m_result;
};

void TouchAt(const Point& point)
{
    Sim::Touch({{point.x - 1, point.y + 2, 50}, {point.x, point.y, 40}, {0, 0, 0}});
}

Texts DrawLines(const Image& image)
{
    return {"[CFBLib] [D] [DrawBmp] START", "[CFBLib] [D] [DrawBmp] " + Format("%d %d\n", image.width, image.height),
            "[CFBLib] [D] [DrawBmp] Success"};
}

const Texts START_LINES = {"[CFBLib] [D] [CFBLib] Logger Start.", "[CTouchTest] [D] [StartTest] START"};
const Texts LOAD1_LINES = {"[CTouchTest] [D] [StartTest] Load bmp1", "[CFBLib] [D] [CreateBitmap] START"};
const Texts LOAD_LINES =
    Joined(LOAD1_LINES, {"[CTouchTest] [D] [StartTest] Load bmp2", "[CFBLib] [D] [CreateBitmap] START"});

/// Of a run with those targets, each touched by `TouchAt`.
Texts LinesOfRun(const Points& targets, const Points& touches)
{
    Texts lines = Joined(START_LINES, LOAD_LINES);
    for (std::size_t i = 0; i < TOUCHES; ++i) {
        const auto& [x, y] = touches[i];
        const std::string place = i == 4 ? Format(" %d %d", targets[i].x, targets[i].y) : "";
        lines.push_back("[CTouchTest] [D] [StartTest] Touch " + std::to_string(i + 1) + place);
        lines = Joined(lines, DrawLines(TARGET));
        lines = Joined(lines, {WAITS, "[CTouchTest] [D] TIME: " + Format("%6d %6d %6d\n", x - 1, y + 2, 50),
                               "[CTouchTest] [D] TIME: " + Format("%6d %6d %6d\n", x, y, 40),
                               "[CTouchTest] [D] TIME: " + Format("%6d %6d %6d\n", x, y, 0),
                               "[CTouchTest] [D] [Wait_TS] END", "[CTouchTest] [D] " + Format("x=%d y=%d\n", x, y)});
        lines = Joined(lines, DrawLines(DONE));
    }
    return Joined(lines, {"[CTouchTest] [D] [StartTest] END"});
}

/// Puts an image into a picture of the screen, as far as it is inside the area.
void Show(Pixels& screen, const Arguments& area, const Point& at, const Image& image)
{
    const Pixels pixels = Pattern(image.width, image.height, image.seed);
    for (int i = 0; i < image.width * image.height; ++i) {
        const std::int64_t x = std::int64_t{at.x} + i % image.width;
        const std::int64_t y = std::int64_t{at.y} + i / image.width;
        if (x >= 0 && y >= 0 && x < area.width && y < area.height) {
            screen[static_cast<std::size_t>(y * WIDTH + x)] = pixels[static_cast<std::size_t>(i)];
        }
    }
}

class TouchRun : public Touching, public testing::WithParamInterface<Arguments> {};

TEST_P(TouchRun, ShowsATargetUntilItIsTouchedAndThenTheConfirmation)
{
    const Arguments& arguments = GetParam();
    const Points touches = {{101, 199}, {300, 1000}, {70'000, -1}, {-70'000, 65'535}, {32'767, 256}};
    FillScreen();
    const auto before = Support::OpenDescriptors();
    testing::internal::CaptureStdout();
    const auto begin = std::chrono::steady_clock::now();
    CheckRun run([&] { return Start(arguments); });
    Pixels screen(WIDTH * HEIGHT);
    std::string printed;
    for (std::size_t i = 0; i < TOUCHES; ++i) {
        run.AwaitWaiting();
        Show(screen, arguments, arguments.targets[i], TARGET);
        EXPECT_EQ(Sim::Screen(), screen) << "while waiting for touch " << i + 1;
        TouchAt(touches[i]);
        Show(screen, arguments, arguments.targets[i], DONE);
        printed += "[StartTest] Touch" + std::to_string(i + 1) + Format(": x=%d y=%d\n", touches[i].x, touches[i].y);
    }
    EXPECT_EQ(run.Finish(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(400))
        << "100 after each but the last";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(run.Lines(), LinesOfRun(arguments.targets, touches));
    EXPECT_EQ(Sim::Screen(), screen);
    EXPECT_EQ(Sim::DisplayArea(), (std::array<std::int32_t, 6>{0, 32, arguments.width, arguments.height, 0, 0}));
    EXPECT_EQ(Result(m_check), Packed(touches));
    EXPECT_EQ(Support::OpenDescriptors(), before);
}

const Points FAR = {
    {INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}, {1'073'741'853, 1'073'741'845}};

INSTANTIATE_TEST_SUITE_P(
    Places, TouchRun,
    testing::Values(WHOLE, Arguments{"small_area", 61, 40, 4, 3, 0, {{0, 0}, {57, 0}, {57, 37}, {0, 37}, {28, 18}}},
                    // Sizes that are not those of the images; half of -3 is -1.
                    Arguments{"outside", 64, 48, 67, 51, -2, {{-2, -2}, {-1, -2}, {-1, -1}, {-2, -1}, {-1, -1}}},
                    // Places that must not come round again at the other end of the numbers.
                    Arguments{"far", WIDTH, HEIGHT, INT_MIN + 5, INT_MIN + 5, INT_MIN, FAR}),
    Support::CASE_NAME);

double Now()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

TEST_F(Touching, EachSampleIsLoggedAndThePointIsThatOfTheOneThatLiftsTheFinger)
{
    const std::string raw = "module_raw input\n";  // reports 0,0 with it
    const Support::MemoryFile unfiltered(Bytes(raw.begin(), raw.end()));
    for (const auto& [configuration, end] : {std::pair{TS_CONF, Point{101, 199}}, {unfiltered.Path(), {0, 0}}}) {
        setenv("TSLIB_CONFFILE", configuration, 1);
        const std::unique_ptr<tsdev, decltype(&ts_close)> panel(ts_open(DEFAULT_PANEL, 0), ts_close);
        ASSERT_EQ(ts_config(panel.get()), 0);
        Sim::TakeLog();
        const double before = Now();
        Sim::Touch({{100, 200, 50}, {101, 199, 1}, {101, 199, 0}});
        const double after = Now();
        tTOUCHXY point = {-5, -6};
        EXPECT_EQ(m_check.Wait_TS(panel.get(), &point), 0);
        EXPECT_EQ(std::pair(point.nX, point.nY), std::pair(end.x, end.y));
        const auto lines = Sim::TakeLog();
        ASSERT_EQ(lines.size(), 5U);
        std::size_t sample = 0;
        for (const auto& values : {Format("%6d %6d     50", 100, 200), Format("%6d %6d      1", 101, 199),
                                   Format("%6d %6d      0", end.x, end.y)}) {
            const std::string& line = lines[++sample].text;
            EXPECT_THAT(line, testing::MatchesRegex("\\[D\\] [0-9]+\\.[0-9]{6}: " + values + "\n"));
            EXPECT_GE(std::stod(line.substr(4)), before - 2e-6);  // microseconds
            EXPECT_LE(std::stod(line.substr(4)), after + 2e-6);
        }
    }
}

TEST_F(Touching, AReadErrorKeepsTheEarlierPointsOfTheRunAndTheLaterOfAnEarlierRun)
{
    setenv("TSLIB_TSDEVICE", "/dev/input/event7", 1);
    Points recorded(TOUCHES);
    const auto before = Support::OpenDescriptors();
    for (std::size_t failing = TOUCHES + 1; failing-- > 0;) {  // at first none
        SCOPED_TRACE("run that fails at touch " + std::to_string(failing + 1));
        CheckRun run([&] { return Start(WHOLE); });
        Pixels screen(WIDTH * HEIGHT);
        for (std::size_t i = 0; i < std::min<std::size_t>(failing + 1, TOUCHES); ++i) {
            run.AwaitWaiting();
            Show(screen, WHOLE, WHOLE.targets[i], TARGET);
            if (i == failing) {
                Sim::Inject(Fault::Fails("read", EIO));
                TouchAt({1, 1});
            } else {
                Show(screen, WHOLE, WHOLE.targets[i], DONE);
                recorded[i] = {static_cast<int>(failing * 10 + i), static_cast<int>(failing * 1000 + i)};
                TouchAt(recorded[i]);
            }
        }
        EXPECT_EQ(run.Finish(), failing == TOUCHES ? 0 : -1);
        EXPECT_EQ(run.Lines().back(),
                  failing == TOUCHES ? "[CTouchTest] [D] [StartTest] END" : "[CTouchTest] [E] [Wait_TS] ts_read error");
        EXPECT_EQ(Sim::Screen(), screen);
        EXPECT_EQ(Result(m_check), Packed(recorded));
        EXPECT_EQ(Support::OpenDescriptors(), before);
    }
}

TEST_F(Touching, AnImageIsReleasedOnceThoughTheNextIsMissing)
{
    for (const char* const target : {m_target.Path(), "/nonexistent"}) {
        Sim::Break("touch-missing");
        EXPECT_EQ(Start(WHOLE, target, m_done.Path()), -1);
        EXPECT_EQ(Start(WHOLE, m_target.Path(), target), -1);
    }
}

Texts Error(const std::string& text)
{
    return {"[CTouchTest] [E] [StartTest] " + text};
}

Texts DisplayError(const std::string& text, const std::string& error)
{
    return Joined({"[CFBLib] [E] " + text}, Error(error));
}

constexpr auto NO_FILE = "[CreateBitmap] BMP File Open Error";

/// What keeps the check from starting, and the lines that it then logs.
struct Obstacle {
    const char* name;
    Texts lines;
    std::function<void()> prepare;
    const char* target = "";  // the healthy one
    const char* done = "";
    bool isScreenBlack = false;
};

class TouchObstacle : public Touching, public testing::WithParamInterface<Obstacle> {};

TEST_P(TouchObstacle, EndsTheRunWithItsLines)
{
    FillScreen();
    const Obstacle& obstacle = GetParam();
    const auto choose = [](const char* path, const Support::MemoryFile& healthy) {
        return path == nullptr || *path != '\0' ? path : healthy.Path();
    };
    const auto before = Support::OpenDescriptors();
    if (obstacle.prepare) {
        obstacle.prepare();
    }
    const Sim::Recording recording;
    EXPECT_EQ(Start(WHOLE, choose(obstacle.target, m_target), choose(obstacle.done, m_done)), -1);
    EXPECT_EQ(TakeLines(), Joined(START_LINES, obstacle.lines));
    EXPECT_EQ(Sim::Screen(), Pixels(WIDTH * HEIGHT, obstacle.isScreenBlack ? 0U : 0xFFFFFFFFU));
    EXPECT_EQ(Support::OpenDescriptors(), before);
    EXPECT_EQ(Result(m_check), Bytes(20, 0));
    const bool hasPaths = obstacle.target != nullptr && obstacle.done != nullptr;
    EXPECT_EQ(recording.Calls("open").empty(), !hasPaths) << "without paths nothing is opened";
}

const Obstacle OBSTACLES[] = {
    {"no_target", Error("Image path is NULL"), {}, nullptr},
    {"no_confirmation", Error("Image path is NULL"), {}, "", nullptr},
    {"no_display", DisplayError("[FB] /dev/fb0 open error", "Failed to Open fb device"),
     [] { Sim::Break("display-missing"); }},
    {"refused_area", DisplayError("[SetInfo] SET_OSD_INFO error", "Failed to set screen information"),
     [] { Sim::Break("display-refuses"); }},
    {"no_mapping", DisplayError("[InitializeScreenBuffer] mmap error", "Failed to Initialize Screen Buffer"),
     [] { Sim::Inject(Fault::Fails("mmap", ENOMEM)); }},
    {"no_target_file", Joined(LOAD1_LINES, DisplayError(NO_FILE, "Failed to Create Bitmap 1")), {}, "/nonexistent"},
    {"no_confirmation_file",
     Joined(LOAD_LINES, DisplayError(NO_FILE, "Failed to Create Bitmap 2")),
     {},
     "",
     "/nonexistent"},
    {"no_panel", Joined(LOAD_LINES, Error("ts_open error")), [] { Sim::Break("touch-missing"); }, "", "", true},
    {"no_configuration", Joined(LOAD_LINES, Error("ts_config error")),
     [] { setenv("TSLIB_CONFFILE", "/nonexistent", 1); }, "", "", true}};

INSTANTIATE_TEST_SUITE_P(All, TouchObstacle, testing::ValuesIn(OBSTACLES), Support::CASE_NAME);

}  // namespace
