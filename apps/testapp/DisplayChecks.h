// The checks of the display and of the touch panel on it.
#pragma once

#include <string>

#include "apps/testapp/Reply.h"

namespace TestApp {

/// The files of the touch test's images, 24-bit BMP of TOUCH_IMAGE_SIZE x TOUCH_IMAGE_SIZE pixels, in the folder of
/// images.
inline constexpr const char* TARGET_IMAGE = "target.bmp";
inline constexpr const char* CONFIRMATION_IMAGE = "confirmation.bmp";

/// Carries out CMD_LCD_BLU_TEST on the whole screen. `request` holds its 26 data bytes.
Reply CheckDisplay(const unsigned char* request);

/// Carries out CMD_TOUCH_TEST with targets `margin` pixels from the edges of the screen, and images from the folder
/// `images`. Waits without limit for the touches.
Reply CheckTouchPanel(int margin, const std::string& images);

}  // namespace TestApp
