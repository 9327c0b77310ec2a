// Drawing: random operations on the display are compared with the same on a slow model of the screen.
#include <algorithm>
#include <climits>
#include <random>

#include "ioctl/CFBLib.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/Gap.h"
#include "tests/support/ScreenModel.h"

namespace {

using IOCTL::tBMP;
using Support::Pixels;
using Model = Support::ScreenModel;
using Support::Texts;

class Drawing : public Support::Board {
protected:
    int From(int first, int last) { return std::uniform_int_distribution<int>(first, last)(m_random); }
    int Pick(std::initializer_list<int> values) { return values.begin()[From(0, static_cast<int>(values.size()) - 1)]; }
    std::uint32_t Word() { return static_cast<std::uint32_t>(m_random()); }
    Pixels Words(std::size_t count)
    {
        Pixels words(count);
        std::generate(words.begin(), words.end(), [&] { return Word(); });
        return words;
    }
    int AreaSide(int side) { return Pick({side, side, side, From(0, side), side - 1, side + 5, 0, INT_MAX, INT_MIN}); }
    int Position(int side, int length)
    {
        const int around = From(-length - 1, side + 1);
        return Pick({around, around, around, around, 0, -length, 1 - length, side - length, side - 1, side, INT_MIN,
                     INT_MAX, INT_MAX - length + 1, INT_MIN + length});
    }

    /// One random operation on the display, whose screen is `words`, and on the model.
    void Draw(IOCTL::CFBLib& display, Model& model, std::uint32_t* words)
    {
        std::copy(model.pixels.begin(), model.pixels.end(), words);
        display.SetInfo(32, From(-2, 2), From(-2, 2), model.areaWidth, model.areaHeight);
        Sim::TakeLog();
        const int width = Pick({From(1, 12), From(1, 12), From(1, model.width + 20), 1, 0, -2});
        const int height = Pick({From(1, 8), From(1, 8), From(1, model.height + 3), 1, 0, -2});
        Pixels pixels = Words(static_cast<std::size_t>(std::max(width, 1) * std::max(height, 1)));
        Pixels background = Words(static_cast<std::size_t>(model.width * model.height));
        const std::uint32_t key = pixels[0];
        std::replace_if(
            pixels.begin(), pixels.end(), [&](std::uint32_t) { return From(0, 3) == 0; }, key);
        const int alpha = Pick({From(0, 255), From(0, 255), 0, 1, 128, 254, 255, 256, 257, INT_MAX, -1, INT_MIN});
        const tBMP bmp = {width,
                          height,
                          From(0, 15) == 0 ? nullptr : pixels.data(),
                          Pick({0, 0, 0, 1, 1, 1, 2, -1}),
                          From(0, 3) == 0 ? key ^ 0x01000000 : key,
                          Pick({0, 0, 0, 1, 1, 2, 3, -1}),
                          Word(),
                          From(0, 7) == 0 ? nullptr : background.data(),
                          alpha};
        const int x = Position(model.width, std::max(width, 1));
        const int y = Position(model.height, std::max(height, 1));
        const int kind = From(0, 7);
        const unsigned long color = std::uint64_t{Word()} << 32 | Word();
        const auto draw = [&](auto& screen) {
            switch (kind) {
            case 0:
                return screen.ScreenClear(alpha);
            case 1:
                return screen.setAlpha(alpha);
            case 2:
                return screen.DrawPixel(x, y, color);
            default:
                return screen.DrawBmp(x, y, bmp);
            }
        };
        draw(display);
        draw(model);
        const auto wrong = std::mismatch(model.pixels.begin(), model.pixels.end(), words);
        const auto index = wrong.first - model.pixels.begin();
        EXPECT_TRUE(wrong.first == model.pixels.end())
            << "operation " << kind << " at " << x << "," << y << ": row " << index / model.width << " column "
            << index % model.width << std::hex << " is " << *wrong.second << " instead of " << *wrong.first;
        const std::string size = std::to_string(width) + " " + std::to_string(height);
        const Texts lines = {"[D] [DrawBmp] START", "[D] [DrawBmp] " + size + "\n", "[D] [DrawBmp] Success"};
        EXPECT_EQ(Support::TakeTexts("CFBLib"), kind < 3 ? Texts() : lines);
    }

    const int m_seed = testing::UnitTest::GetInstance()->random_seed();  // 0 unless tests are shuffled
    std::mt19937 m_random{static_cast<unsigned int>(m_seed)};
};

TEST_F(Drawing, IsThatOfTheModel)
{
    for (int screen = 0; screen < 800 && !HasFailure(); ++screen) {
        SCOPED_TRACE("seed " + std::to_string(m_seed) + ", screen " + std::to_string(screen));
        const std::pair<int, int> sizes[] = {{1, 1},
                                             {1024, 1},
                                             {1, 1024},
                                             {512, 2},
                                             {1024, 3},
                                             {2048, 2},
                                             {From(200, 800), From(1, 8)},
                                             {From(1, 40), From(1, 30)}};
        const auto [width, height] = sizes[From(0, std::size(sizes) - 1)];
        Sim::SetScreenSize(width, height);
        const Support::Gap gap(sizeof(std::uint32_t) * static_cast<std::size_t>(width * height));
        IOCTL::CFBLib display;
        ASSERT_EQ(display.Open(), 0);
        ASSERT_EQ(display.InitializeScreenBuffer(), 0);
        ASSERT_TRUE(gap.IsMapped()) << "the screen is mapped elsewhere";
        for (int i = 0; i < 12 && !HasFailure(); ++i) {
            Model model = {width, height, AreaSide(width), AreaSide(height), Words(gap.WordCount())};
            Draw(display, model, gap.Words());
        }
    }
}

}  // namespace
