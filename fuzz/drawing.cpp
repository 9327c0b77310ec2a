// Drawing: after any operations the screen is that of a slow model, and nothing beside it is touched.
#include "fuzz/Fuzz.h"
#include "sim/SimBoard.h"
#include "tests/support/AnyDrawing.h"
#include "tests/support/Gap.h"

namespace {

class Input : public FuzzedDataProvider, public Support::AnyNumbers {
public:
    using FuzzedDataProvider::FuzzedDataProvider;

    int From(int least, int most) override { return ConsumeIntegralInRange(least, most); }
    std::uint32_t Word() override { return ConsumeIntegral<std::uint32_t>(); }
    /// They repeat what the input has.
    Support::Pixels Words(std::size_t count) override
    {
        Support::Pixels words(count);
        const std::vector<std::uint8_t> some = ConsumeBytes<std::uint8_t>(static_cast<std::size_t>(From(1, 24)));
        for (std::size_t i = 0; i < count && !some.empty(); ++i) {
            words[i] = some[i % some.size()] * 0x01030509U;
        }
        return words;
    }
};

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
    Support::ScreenModel model = {width, height, 0, 0, Support::Pixels(gap.WordCount())};
    while (input.remaining_bytes() > 0) {
        model.areaWidth = input.AreaSide(width);
        model.areaHeight = input.AreaSide(height);
        display.SetInfo(32, 0, 0, model.areaWidth, model.areaHeight);
        Support::DrawAnything(input, display, model);
        Fuzz::Expect(std::equal(model.pixels.begin(), model.pixels.end(), gap.Words()), "the screen of the model");
    }
    Sim::TakeLog();
    return 0;
}
