// Drawing: random operations on the display are compared with the same on a slow model of the screen.
#include <algorithm>
#include <random>

#include "tests/ioctl/Board.h"
#include "tests/support/AnyDrawing.h"
#include "tests/support/Gap.h"

namespace {

using Support::Pixels;
using Model = Support::ScreenModel;
using Support::Texts;

class Drawing : public Support::Board, public Support::AnyNumbers {
protected:
    int From(int least, int most) override { return std::uniform_int_distribution<int>(least, most)(m_random); }
    std::uint32_t Word() override { return static_cast<std::uint32_t>(m_random()); }
    Pixels Words(std::size_t count) override
    {
        Pixels words(count);
        std::generate(words.begin(), words.end(), [&] { return Word(); });
        return words;
    }

    /// One random operation on the display, whose screen is `words`, and on the model.
    void Draw(IOCTL::CFBLib& display, Model& model, std::uint32_t* words)
    {
        std::copy(model.pixels.begin(), model.pixels.end(), words);
        display.SetInfo(32, From(-2, 2), From(-2, 2), model.areaWidth, model.areaHeight);
        Sim::TakeLog();
        const std::string size = DrawAnything(*this, display, model);
        const auto wrong = std::mismatch(model.pixels.begin(), model.pixels.end(), words);
        const auto index = wrong.first - model.pixels.begin();
        EXPECT_TRUE(wrong.first == model.pixels.end())
            << "row " << index / model.width << " column " << index % model.width << std::hex << " is " << *wrong.second
            << " instead of " << *wrong.first;
        const Texts lines = {"[D] [DrawBmp] START", "[D] [DrawBmp] " + size + "\n", "[D] [DrawBmp] Success"};
        EXPECT_EQ(Support::TakeTexts("CFBLib"), size.empty() ? Texts() : lines);
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
