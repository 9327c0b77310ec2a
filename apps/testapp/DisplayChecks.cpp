// The checks of the display and of the touch panel on it.
#include "apps/testapp/DisplayChecks.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>

#include "apps/testapp/Descriptor.h"
#include "ioctl/CFBLib.h"
#include "ioctl/CTouchTest.h"

namespace TestApp {

namespace {

struct Size {
    int width;
    int height;
};

/// The size of the screen in pixels; std::nullopt when the display does not report it.
std::optional<Size> ScreenSize()
{
    const Descriptor display(open("/dev/fb0", O_RDWR | O_CLOEXEC));
    fb_var_screeninfo screen = {};
    if (!display.IsValid() || ioctl(display.Get(), FBIOGET_VSCREENINFO, &screen) != 0) {
        return std::nullopt;
    }
    return Size{static_cast<int>(screen.xres), static_cast<int>(screen.yres)};
}

/// Prepares the whole screen for drawing. False when the display cannot be used.
bool Open(IOCTL::CFBLib& display, const Size& screen)
{
    constexpr int BITS_PER_PIXEL = 32;
    return display.Open() == 0 && display.SetInfo(BITS_PER_PIXEL, 0, 0, screen.width, screen.height) == 0 &&
           display.InitializeScreenBuffer() == 0;
}

/// Vertical bars of the same width: white, yellow, cyan, green, magenta, red, blue, black.
void DrawColourBars(IOCTL::CFBLib& display, const Size& screen)
{
    constexpr std::array<std::uint32_t, 8> COLOURS = {0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00,
                                                      0xFF00FF, 0xFF0000, 0x0000FF, 0x000000};
    for (int y = 0; y < screen.height; ++y) {
        for (int x = 0; x < screen.width; ++x) {
            const std::size_t bar =
                static_cast<std::size_t>(x) * COLOURS.size() / static_cast<std::size_t>(screen.width);
            display.DrawPixel(x, y, COLOURS[bar]);
        }
    }
}

Status Show(IOCTL::CFBLib& display, const Size& screen, unsigned char action, unsigned char level)
{
    switch (action) {
    case DISPLAY_BLACK:
        display.ScreenClear(0);
        return STATUS_PASS;
    case DISPLAY_WHITE:
        display.ScreenClear(1);
        return STATUS_PASS;
    case DISPLAY_COLOUR_BARS:
        DrawColourBars(display, screen);
        return STATUS_PASS;
    case DISPLAY_DIM:
        display.setAlpha(level);
        return STATUS_PASS;
    default:
        return display.SetDisplayBrightness(level) < 0 ? STATUS_FAIL : STATUS_PASS;
    }
}

}  // namespace

Reply CheckDisplay(const unsigned char* request)
{
    if (request[0] > DISPLAY_BRIGHTNESS) {
        return StatusReply(STATUS_BAD_REQUEST);
    }
    IOCTL::CFBLib display;
    const std::optional<Size> screen = ScreenSize();
    const bool isUsable = screen && Open(display, *screen);
    return StatusReply(isUsable ? Show(display, *screen, request[0], request[1]) : STATUS_FAIL);
}

Reply CheckTouchPanel(int margin, const std::string& images)
{
    const std::optional<Size> screen = ScreenSize();
    if (!screen) {
        return StatusReply(STATUS_FAIL);
    }
    IOCTL::CTouchTest test;
    const std::string target = images + '/' + TARGET_IMAGE;
    const std::string confirmation = images + '/' + CONFIRMATION_IMAGE;
    Reply reply =
        StatusReply(StatusOf(test.StartTest(screen->width, screen->height, target.c_str(), confirmation.c_str(),
                                            TOUCH_IMAGE_SIZE, TOUCH_IMAGE_SIZE, margin)));
    test.GetTouchXY(&reply[1]);
    return reply;
}

}  // namespace TestApp
