// What the 26 data bytes of a command and of its reply mean to the test application and to the station. Constants only:
// docs/protocol.md explains them.
#pragma once

#include <cstddef>

#include "uart/UARTFrame.h"

namespace Protocol {

/// Data byte 0 of every reply.
enum Status : unsigned char {
    STATUS_PASS = 0,
    STATUS_FAIL = 1,
    STATUS_NOT_SUPPORTED = 2,
    STATUS_BAD_REQUEST = 3,
};

/// Data bytes of every reply: the status, then the values.
inline constexpr std::size_t REPLY_LEN = UART::UART_BODY_LEN;
/// The most characters of a text after a selector; the zero byte that ends it is not counted.
inline constexpr std::size_t TEXT_LEN = UART::UART_BODY_LEN - 2;

/// What byte 0 of a CMD_EXT_DEVICE_TEST request selects.
enum Device : unsigned char {
    DEVICE_DISK = 0,     ///< byte 1 is the disk's index, below DISKS
    DEVICE_FILE = 1,     ///< a path follows
    DEVICE_PING = 2,     ///< an IPv4 address follows as text
    DEVICE_ADDRESS = 3,  ///< the name of a network interface follows
};
inline constexpr int DISKS = 3;

/// What byte 0 of a CMD_LCD_BLU_TEST request selects.
enum Display : unsigned char {
    DISPLAY_BLACK = 0,
    DISPLAY_WHITE = 1,
    DISPLAY_COLOUR_BARS = 2,
    DISPLAY_DIM = 3,         ///< by byte 1, 0 to 255 of 256
    DISPLAY_BRIGHTNESS = 4,  ///< to byte 1, in the display driver's own units
};

/// What byte 0 of a CMD_RTC_TEST request selects.
enum Clock : unsigned char {
    CLOCK_READ = 0,
    CLOCK_SET = 1,  ///< the first CLOCK_SET_LEN bytes of a clock record follow
};

/// The clock record: the place of each value in it, one byte each, local time.
enum ClockField : std::size_t {
    CLOCK_YEAR = 0,     ///< since 2000
    CLOCK_MONTH = 1,    ///< 1 to 12
    CLOCK_DAY = 2,      ///< 1 to 31
    CLOCK_HOUR = 3,     ///< 0 to 23
    CLOCK_MINUTE = 4,   ///< 0 to 59
    CLOCK_SECOND = 5,   ///< 0 to 59
    CLOCK_WEEKDAY = 6,  ///< 0 is Sunday; replies only
};
inline constexpr std::size_t CLOCK_SET_LEN = CLOCK_WEEKDAY;
inline constexpr std::size_t CLOCK_LEN = CLOCK_WEEKDAY + 1;

/// Data byte 0 of a CMD_TOUCH_TEST request is the margin between the targets and the edges of the screen, in pixels.
/// Each target is an image of this width and height, in pixels.
inline constexpr int TOUCH_IMAGE_SIZE = 40;
/// The default margin.
inline constexpr unsigned char TOUCH_MARGIN = 30;
/// Touches of a touch test: top left, top right, bottom right, bottom left, centre. In the reply each is x, then y:
/// signed numbers of 16 bits, high byte first.
inline constexpr std::size_t TOUCHES = 5;

}  // namespace Protocol
