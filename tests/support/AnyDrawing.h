// Any operation on the display, made from numbers that a test or a fuzz target chooses.
#pragma once

#include <algorithm>
#include <climits>
#include <initializer_list>

#include "tests/support/ScreenModel.h"

namespace Support {

/// Where the numbers come from. Those that mean something special come more often than others.
class AnyNumbers {
public:
    virtual ~AnyNumbers() = default;
    virtual int From(int least, int most) = 0;
    virtual std::uint32_t Word() = 0;
    virtual Pixels Words(std::size_t count) = 0;

    int Pick(std::initializer_list<int> values) { return values.begin()[From(0, static_cast<int>(values.size()) - 1)]; }
    int AreaSide(int side) { return Pick({side, side, side, From(0, side), side - 1, side + 5, 0, INT_MAX, INT_MIN}); }
    int Position(int side, int length)
    {
        const int around = From(-length - 1, side + 1);
        return Pick({around, around, around, around, 0, -length, 1 - length, side - length, side - 1, side, INT_MIN,
                     INT_MAX, INT_MAX - length + 1, INT_MIN + length});
    }
};

/// One operation on the display and on the model of its screen. Returns what DrawBmp logs of the size, nothing for the
/// other operations.
inline std::string DrawAnything(AnyNumbers& numbers, IOCTL::CFBLib& display, ScreenModel& model)
{
    const int width = numbers.Pick({numbers.From(1, 12), numbers.From(1, model.width + 20), 1, 0, -2});
    const int height = numbers.Pick({numbers.From(1, 8), numbers.From(1, model.height + 3), 1, 0, -2});
    const int x = numbers.Position(model.width, std::max(width, 1));
    const int y = numbers.Position(model.height, std::max(height, 1));
    const int alpha =
        numbers.Pick({numbers.From(0, 255), numbers.From(0, 255), 0, 1, 128, 254, 255, 256, 257, INT_MAX, -1, INT_MIN});
    const auto both = [&](auto operation) {
        operation(display);
        operation(model);
        return std::string();
    };
    switch (numbers.From(0, 7)) {
    case 0:
        return both([&](auto& screen) { screen.ScreenClear(alpha); });
    case 1:
        return both([&](auto& screen) { screen.setAlpha(alpha); });
    case 2:
        return both([&, color = std::uint64_t{numbers.Word()} << 32 | numbers.Word()](auto& screen) {
            screen.DrawPixel(x, y, static_cast<unsigned long>(color));
        });
    default:
        break;
    }
    Pixels pixels = numbers.Words(static_cast<std::size_t>(std::max(width, 1) * std::max(height, 1)));
    Pixels background = numbers.Words(static_cast<std::size_t>(model.width * model.height));
    const std::uint32_t key = pixels[0];
    for (std::size_t i = 0; i < pixels.size(); i += static_cast<std::size_t>(numbers.From(1, 7))) {
        pixels[i] = key;
    }
    const IOCTL::tBMP bmp = {width,
                             height,
                             numbers.From(0, 15) == 0 ? nullptr : pixels.data(),
                             numbers.Pick({0, 0, 0, 1, 1, 1, 2, -1}),
                             numbers.From(0, 3) == 0 ? key ^ 0x01000000 : key,
                             numbers.Pick({0, 0, 0, 1, 1, 2, 3, -1}),
                             numbers.Word(),
                             numbers.From(0, 7) == 0 ? nullptr : background.data(),
                             alpha};
    both([&](auto& screen) { screen.DrawBmp(x, y, bmp); });
    return std::to_string(width) + " " + std::to_string(height);
}

}  // namespace Support
