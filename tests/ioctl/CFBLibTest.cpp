// The display: its device, and drawing, which is compared with a slow model of the screen.
#include "ioctl/CFBLib.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <optional>
#include <random>
#include <sstream>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"

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
constexpr std::size_t PAGE = 4096;

bool IsMapped(const unsigned char* page)
{
    return msync(const_cast<unsigned char*>(page), PAGE, MS_ASYNC) == 0;
}

/// Leaves one place for the next mapping of a size, between pages that cannot be touched.
class Gap {
public:
    explicit Gap(std::size_t size) : m_size((size + PAGE - 1) / PAGE * PAGE)
    {
        // The system takes the highest place that is large enough: those above ours are filled first.
        m_pages = Reserve(m_size + 2 * PAGE);
        unsigned char* lower = Reserve(m_size);
        for (; lower > m_pages; lower = Reserve(m_size)) {
            m_filled.push_back(lower);
        }
        munmap(lower, m_size);
        munmap(m_pages + PAGE, m_size);
    }
    ~Gap()
    {
        munmap(m_pages, PAGE);
        munmap(m_pages + PAGE + m_size, PAGE);
        std::for_each(m_filled.begin(), m_filled.end(), [&](unsigned char* filled) { munmap(filled, m_size); });
    }
    Gap(const Gap&) = delete;
    Gap& operator=(const Gap&) = delete;

    /// The pages that are mapped there now.
    [[nodiscard]] std::size_t MappedPages() const
    {
        std::size_t count = 0;
        for (std::size_t at = PAGE; at <= m_size; at += PAGE) {
            count += IsMapped(m_pages + at) ? 1 : 0;
        }
        return count;
    }
    [[nodiscard]] std::size_t Pages() const { return m_size / PAGE; }
    /// What is mapped there, the rest of the last page included.
    [[nodiscard]] std::uint32_t* Words() const { return reinterpret_cast<std::uint32_t*>(m_pages + PAGE); }
    [[nodiscard]] std::size_t WordCount() const { return m_size / sizeof(std::uint32_t); }

private:
    static unsigned char* Reserve(std::size_t size)
    {
        void* const pages = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        return static_cast<unsigned char*>(pages);
    }

    std::size_t m_size;
    unsigned char* m_pages;
    std::vector<unsigned char*> m_filled;
};

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
    const Gap first(3 * PAGE);
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
    std::vector<long> sizes;
    for (const Sim::Call& call : recording.Calls("munmap")) {
        sizes.push_back(call.argument);
    }
    EXPECT_EQ(sizes, (std::vector<long>{3 * PAGE, 7 * PAGE}));
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
        const Gap gap(PIXELS * sizeof(std::uint32_t));
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

/// The screen, drawn on one pixel after the other.
struct Model {
    int width, height;
    int areaWidth, areaHeight;
    Pixels pixels;  // and the rest of the last page

    [[nodiscard]] bool IsInside(std::int64_t x, std::int64_t y) const
    {
        return x >= 0 && y >= 0 && x < width && y < height && x < areaWidth && y < areaHeight;
    }
    std::size_t Index(std::int64_t x, std::int64_t y) const { return static_cast<std::size_t>(y * width + x); }
    static std::uint32_t Mix(std::uint32_t a, std::uint32_t weightOfA, std::uint32_t b, std::uint32_t weightOfB)
    {
        std::uint32_t mixed = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            mixed |= ((a >> shift & 0xFF) * weightOfA + (b >> shift & 0xFF) * weightOfB) >> 8 << shift;
        }
        return mixed;
    }

    void ScreenClear(int color) { std::fill_n(pixels.begin(), width * height, color == 0 ? 0U : 0xFFFFFFFFU); }
    void DrawPixel(int x, int y, unsigned long color)
    {
        if (IsInside(x, y)) {
            pixels[Index(x, y)] = static_cast<std::uint32_t>(color & 0xFFFFFFFF);
        }
    }
    void SetAlpha(int alpha)
    {
        const auto weight = static_cast<std::uint32_t>(std::clamp(alpha, 0, 256));
        std::transform(pixels.begin(), pixels.begin() + width * height, pixels.begin(),
                       [&](std::uint32_t pixel) { return Mix(pixel, weight, 0, 0); });
    }
    void DrawBmp(int x, int y, const tBMP& bmp)
    {
        const bool usesBuffer = bmp.nBgMode != 0 && bmp.nBgMode != 1;
        if (bmp.pData == nullptr || (usesBuffer && bmp.pBgData == nullptr)) {
            return;
        }
        const bool isCopied = (bmp.nKeyMode == 0 && bmp.nBgMode == 0) || bmp.nAlpha > 255;
        const auto weight = static_cast<std::uint32_t>(std::clamp(bmp.nAlpha, 0, 256));
        for (std::int64_t row = 0; row < bmp.nHeight; ++row) {
            for (std::int64_t column = 0; column < bmp.nWidth; ++column) {
                if (!IsInside(x + column, y + row)) {
                    continue;
                }
                const std::size_t index = Index(x + column, y + row);
                const std::uint32_t pixel = bmp.pData[row * bmp.nWidth + column];
                const std::uint32_t background = bmp.nBgMode == 1   ? bmp.nBgColor
                                                 : bmp.nBgMode == 0 ? pixels[index]
                                                                    : bmp.pBgData[index];
                if (bmp.nKeyMode == 0 || (bmp.nKeyMode == 1 && pixel != bmp.nKeyColor)) {
                    pixels[index] = isCopied ? pixel : Mix(pixel, weight, background, 256 - weight);
                }
            }
        }
    }
};

/// Random values, among which borders are frequent.
class Random {
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    template <class Number>
    Number From(Number first, Number last)
    {
        return std::uniform_int_distribution<Number>(first, last)(m_engine);
    }
    template <class Value>
    Value Pick(std::initializer_list<Value> values)
    {
        return values.begin()[From<std::size_t>(0, values.size() - 1)];
    }
    std::uint32_t Word() { return static_cast<std::uint32_t>(m_engine()); }
    Pixels Words(std::size_t count)
    {
        Pixels words(count);
        std::generate(words.begin(), words.end(), [&] { return Word(); });
        return words;
    }

    Size ScreenSize()
    {
        return Pick<Size>({{1, 1},
                           {1024, 1},
                           {1, 1024},
                           {16, 64},
                           {512, 2},
                           {256, 8},
                           {1024, 3},
                           {2048, 2},
                           {From(1U, 40U), From(1U, 30U)},
                           {From(200U, 800U), From(1U, 8U)}});
    }
    int AreaSide(int side)
    {
        return Pick({side, side, side, From(0, side), side - 1, side + 5, 0, -3, INT_MAX, INT_MIN});
    }
    int Position(int side, int length)
    {
        const int around = From(-length - 1, side + 1);
        return Pick({around, around, around, around, 0, -length, 1 - length, side - length, side - 1, side, INT_MIN,
                     INT_MAX, INT_MAX - length + 1, INT_MIN + length});
    }
    int Alpha() { return Pick({From(0, 255), From(0, 255), 0, 1, 127, 128, 254, 255, 256, 257, INT_MAX, -1, INT_MIN}); }
    /// Its pixels and background are kept in the vectors.
    tBMP Bmp(const Model& model, Pixels& pixels, Pixels& background)
    {
        const int width = Pick({From(1, 12), From(1, 12), From(1, 12), From(1, model.width + 20), 1, 0, -2});
        const int height = Pick({From(1, 8), From(1, 8), From(1, model.height + 3), 1, 0, -2});
        pixels = Words(static_cast<std::size_t>(std::max(width, 1) * std::max(height, 1)));
        background = Words(static_cast<std::size_t>(model.width * model.height));
        const std::uint32_t any = pixels[From<std::size_t>(0, pixels.size() - 1)];
        std::replace_if(
            pixels.begin(), pixels.end(), [&](std::uint32_t) { return From(0, 3) == 0; }, any);
        return {width,
                height,
                From(0, 15) == 0 ? nullptr : pixels.data(),
                Pick({0, 0, 0, 1, 1, 1, 2, 3, -1}),
                Pick({any, any, any ^ 0x01000000, Word()}),
                Pick({0, 0, 0, 1, 1, 2, 3, -1}),
                Word(),
                From(0, 7) == 0 ? nullptr : background.data(),
                Alpha()};
    }

private:
    std::mt19937 m_engine;
};

/// Draws the same on the screen and on the model of it.
class RandomDrawing : public Display {
protected:
    /// A screen with nothing around it that could be written.
    void OnNewScreen(int operations)
    {
        const Size size = m_random.ScreenSize();
        const int width = static_cast<int>(size.width);
        const int height = static_cast<int>(size.height);
        Sim::SetScreenSize(width, height);
        const Gap gap(sizeof(std::uint32_t) * size.width * size.height);
        CFBLib display;
        ASSERT_EQ(display.Open(), 0);
        ASSERT_EQ(display.InitializeScreenBuffer(), 0);
        ASSERT_EQ(gap.MappedPages(), gap.Pages()) << "the screen is mapped elsewhere";
        m_model = {width, height, 0, 0, {}};
        for (int i = 0; i < operations && !HasFailure(); ++i) {
            m_model.areaWidth = m_random.AreaSide(width);
            m_model.areaHeight = m_random.AreaSide(height);
            display.SetInfo(32, m_random.From(-2, 2), m_random.From(-2, 2), m_model.areaWidth, m_model.areaHeight);
            m_model.pixels = m_random.Words(gap.WordCount());
            std::copy(m_model.pixels.begin(), m_model.pixels.end(), gap.Words());
            TakeTexts("CFBLib");
            const std::string operation = Draw(display);
            Compare(gap, operation);
        }
    }
    /// One operation, which is returned as a text.
    std::string Draw(CFBLib& display)
    {
        std::ostringstream text;
        switch (m_random.From(0, 9)) {
        case 0: {
            const int color = m_random.Pick({0, 1, -1, 256, INT_MIN});
            display.ScreenClear(color);
            m_model.ScreenClear(color);
            text << "ScreenClear " << color;
            break;
        }
        case 1: {
            const int alpha = m_random.Alpha();
            display.setAlpha(alpha);
            m_model.SetAlpha(alpha);
            text << "setAlpha " << alpha;
            break;
        }
        case 2:
        case 3: {
            const int x = m_random.Position(m_model.width, 1);
            const int y = m_random.Position(m_model.height, 1);
            const auto color = m_random.From(0UL, ULONG_MAX);
            display.DrawPixel(x, y, color);
            m_model.DrawPixel(x, y, color);
            text << "DrawPixel " << x << "," << y << " " << color;
            break;
        }
        default:
            DrawBmp(display, text);
        }
        return text.str();
    }
    void DrawBmp(CFBLib& display, std::ostream& text)
    {
        Pixels pixels;
        Pixels background;
        const tBMP bmp = m_random.Bmp(m_model, pixels, background);
        const int x = m_random.Position(m_model.width, std::max(bmp.nWidth, 1));
        const int y = m_random.Position(m_model.height, std::max(bmp.nHeight, 1));
        text << "DrawBmp " << x << "," << y << " of " << bmp.nWidth << " x " << bmp.nHeight << " key mode "
             << bmp.nKeyMode << " bg mode " << bmp.nBgMode << " alpha " << bmp.nAlpha
             << (bmp.pData == nullptr ? " no pixels" : "") << (bmp.pBgData == nullptr ? " no background" : "");
        display.DrawBmp(x, y, bmp);
        m_model.DrawBmp(x, y, bmp);
        const std::string size = std::to_string(bmp.nWidth) + " " + std::to_string(bmp.nHeight);
        EXPECT_EQ(TakeTexts("CFBLib"),
                  (Texts{"[D] [DrawBmp] START", "[D] [DrawBmp] " + size + "\n", "[D] [DrawBmp] Success"}));
    }
    void Compare(const Gap& gap, const std::string& operation) const
    {
        const auto& [width, height, areaWidth, areaHeight, pixels] = m_model;
        const auto wrong = std::mismatch(pixels.begin(), pixels.end(), gap.Words());
        const auto index = wrong.first - pixels.begin();
        EXPECT_TRUE(wrong.first == pixels.end())
            << operation << " in the area " << areaWidth << " x " << areaHeight << " of a screen " << width << " x "
            << height << ": row " << index / width << " column " << index % width << std::hex << " is " << *wrong.second
            << " instead of " << *wrong.first;
    }

    const int m_seed = testing::UnitTest::GetInstance()->random_seed();  // 0 unless tests are shuffled
    Random m_random{static_cast<unsigned int>(m_seed)};
    Model m_model = {};
};

TEST_F(RandomDrawing, IsThatOfTheModel)
{
    for (int screen = 0; screen < 800 && !HasFailure(); ++screen) {
        SCOPED_TRACE("seed " + std::to_string(m_seed) + ", screen " + std::to_string(screen));
        OnNewScreen(12);
    }
}

}  // namespace
