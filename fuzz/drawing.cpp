// Drawing: after any operations the screen is that of a slow model, and nothing beside it is touched.
#include <climits>

#include "fuzz/Fuzz.h"
#include "sim/SimBoard.h"
#include "tests/support/Gap.h"
#include "tests/support/ScreenModel.h"

namespace {

using Support::Pixels;
using Model = Support::ScreenModel;

class Input : public FuzzedDataProvider {
public:
    using FuzzedDataProvider::FuzzedDataProvider;

    int From(int least, int most) { return ConsumeIntegralInRange(least, most); }
    /// Around the screen, or any number.
    int Coordinate(int side)
    {
        return From(0, 7) == 0 ? PickValueInArray({INT_MIN, INT_MAX, INT_MAX - side, 0}) : From(-300, side + 300);
    }
    /// Pixels that repeat what the input has.
    Pixels Image(std::size_t count)
    {
        Pixels pixels(count);
        const std::vector<std::uint8_t> some = ConsumeBytes<std::uint8_t>(static_cast<std::size_t>(From(1, 24)));
        for (std::size_t i = 0; i < count && !some.empty(); ++i) {
            pixels[i] = some[i % some.size()] * 0x01030509U;
        }
        return pixels;
    }
};

/// One operation on the display and on the model.
void Draw(Input& input, IOCTL::CFBLib& display, Model& model)
{
    const int x = input.Coordinate(model.width);
    const int y = input.Coordinate(model.height);
    const int level = input.From(-1, 257);
    const auto both = [&](auto operation) {
        operation(display);
        operation(model);
    };
    switch (input.From(0, 5)) {
    case 0:
        return both([&](auto& screen) { screen.ScreenClear(level); });
    case 1:
        return both([&](auto& screen) { screen.setAlpha(level); });
    case 2:
        return both(
            [&, colour = input.ConsumeIntegral<unsigned long>()](auto& screen) { screen.DrawPixel(x, y, colour); });
    case 3:
        model.areaWidth = input.Coordinate(model.width);
        model.areaHeight = input.Coordinate(model.height);
        display.SetInfo(32, x, y, model.areaWidth, model.areaHeight);
        return;
    default: {
        const int width = input.From(-1, 600);
        const int height = input.From(-1, 8);
        Pixels pixels = input.Image(static_cast<std::size_t>(std::max(width, 0) * std::max(height, 0)));
        Pixels background = input.Image(static_cast<std::size_t>(model.width * model.height));
        const IOCTL::tBMP bmp = {width,
                                 height,
                                 input.From(0, 15) == 0 ? nullptr : pixels.data(),
                                 input.From(-1, 2),
                                 pixels.empty() ? 0 : pixels[0],
                                 input.From(-1, 3),
                                 input.ConsumeIntegral<std::uint32_t>(),
                                 input.From(0, 7) == 0 ? nullptr : background.data(),
                                 input.From(0, 15) == 0 ? input.ConsumeIntegral<int>() : level};
        return both([&](auto& screen) { screen.DrawBmp(x, y, bmp); });
    }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const int width = input.From(1, 600);
    const int height = input.From(1, 6);
    Sim::PowerOn();
    Sim::SetScreenSize(width, height);
    const Support::Gap gap(sizeof(std::uint32_t) * static_cast<std::size_t>(width * height));
    IOCTL::CFBLib display;
    Fuzz::Expect(display.Open() == 0 && display.InitializeScreenBuffer() == 0 && gap.IsMapped(), "a screen");
    display.SetInfo(32, 0, 0, width, height);
    Model model = {width, height, width, height, Pixels(gap.WordCount())};
    while (input.remaining_bytes() > 0) {
        Draw(input, display, model);
        Fuzz::Expect(std::equal(model.pixels.begin(), model.pixels.end(), gap.Words()), "the screen of the model");
    }
    Sim::TakeLog();
    return 0;
}
