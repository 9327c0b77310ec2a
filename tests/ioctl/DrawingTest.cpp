// Drawing: random operations on the display are compared with the same on a slow model of the screen.
#include <algorithm>
#include <climits>
#include <random>

#include "ioctl/CFBLib.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Gap.h"

namespace {

using IOCTL::CFBLib;
using IOCTL::tBMP;
using Support::Pixels;
using Support::Texts;

/// The screen, drawn on one pixel after the other, with the operations of the display.
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
    void setAlpha(int alpha)
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

    std::pair<int, int> ScreenSize()
    {
        const std::pair wide = {From(200, 800), From(1, 8)};
        const std::pair small = {From(1, 40), From(1, 30)};
        return Pick<std::pair<int, int>>(
            {{1, 1}, {1024, 1}, {1, 1024}, {512, 2}, {256, 8}, {1024, 3}, {2048, 2}, wide, small});
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

struct Operation {
    int kind;
    int x, y;
    int value;
    unsigned long color;
    tBMP bmp;
};

template <class Screen>
void Draw(Screen& screen, const Operation& operation)
{
    switch (operation.kind) {
    case 0:
        return screen.ScreenClear(operation.value);
    case 1:
        return screen.setAlpha(operation.value);
    case 2:
        return screen.DrawPixel(operation.x, operation.y, operation.color);
    default:
        return screen.DrawBmp(operation.x, operation.y, operation.bmp);
    }
}

class Drawing : public Support::Board {
protected:
    /// A screen with nothing around it that could be written.
    void OnNewScreen(int operations)
    {
        const auto [width, height] = m_random.ScreenSize();
        Sim::SetScreenSize(width, height);
        const Support::Gap gap(sizeof(std::uint32_t) * static_cast<std::size_t>(width) *
                               static_cast<std::size_t>(height));
        CFBLib display;
        ASSERT_EQ(display.Open(), 0);
        ASSERT_EQ(display.InitializeScreenBuffer(), 0);
        ASSERT_TRUE(gap.IsMapped()) << "the screen is mapped elsewhere";
        for (int i = 0; i < operations && !HasFailure(); ++i) {
            Model model = {width, height, m_random.AreaSide(width), m_random.AreaSide(height),
                           m_random.Words(gap.WordCount())};
            std::copy(model.pixels.begin(), model.pixels.end(), gap.Words());
            display.SetInfo(32, m_random.From(-2, 2), m_random.From(-2, 2), model.areaWidth, model.areaHeight);
            Support::TakeTexts("CFBLib");
            Pixels pixels;
            Pixels background;
            const tBMP bmp = m_random.Bmp(model, pixels, background);
            const Operation operation = {m_random.From(0, 7),
                                         m_random.Position(width, std::max(bmp.nWidth, 1)),
                                         m_random.Position(height, std::max(bmp.nHeight, 1)),
                                         m_random.Alpha(),
                                         m_random.From(0UL, ULONG_MAX),
                                         bmp};
            Draw(display, operation);
            Draw(model, operation);
            Compare(gap, model, operation);
        }
    }
    static void Compare(const Support::Gap& gap, const Model& model, const Operation& operation)
    {
        const auto wrong = std::mismatch(model.pixels.begin(), model.pixels.end(), gap.Words());
        const auto index = wrong.first - model.pixels.begin();
        EXPECT_TRUE(wrong.first == model.pixels.end())
            << "operation " << operation.kind << " at " << operation.x << "," << operation.y << ": row "
            << index / model.width << " column " << index % model.width << std::hex << " is " << *wrong.second
            << " instead of " << *wrong.first;
        const std::string size = std::to_string(operation.bmp.nWidth) + " " + std::to_string(operation.bmp.nHeight);
        const Texts lines = {"[D] [DrawBmp] START", "[D] [DrawBmp] " + size + "\n", "[D] [DrawBmp] Success"};
        EXPECT_EQ(Support::TakeTexts("CFBLib"), operation.kind < 3 ? Texts() : lines);
    }

    const int m_seed = testing::UnitTest::GetInstance()->random_seed();  // 0 unless tests are shuffled
    Random m_random{static_cast<unsigned int>(m_seed)};
};

TEST_F(Drawing, IsThatOfTheModel)
{
    for (int screen = 0; screen < 800 && !HasFailure(); ++screen) {
        SCOPED_TRACE("seed " + std::to_string(m_seed) + ", screen " + std::to_string(screen));
        OnNewScreen(12);
    }
}

}  // namespace
