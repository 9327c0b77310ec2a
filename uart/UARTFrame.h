// The frame of the serial test link: its records, codes and constants, shared by the board and the test station.
//
// A frame is a header, N data bytes and a tail, without a length field and without escaping:
//
//   offset  0      1     2    3 .. 2+N   3+N    4+N
//           start  type  cmd  data       cksum  end
//
// The station always sends N = 26 (31 bytes in all); the board may send 0 to 4091 data bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/CChecksum.h"

/// The serial test link: frames, and the classes that receive and send them.
namespace UART {

inline constexpr unsigned char UART_START_BYTE = 0x5A;  ///< first byte of every frame
inline constexpr unsigned char UART_END_BYTE = 0x03;    ///< last byte of every frame

/// Size of every frame buffer, and the most that one read or write call moves, in bytes.
inline constexpr int UART_BUF_SIZE = 4096;
/// Data bytes of every frame that the board receives.
inline constexpr int UART_BODY_LEN = 26;

/// Header, offsets 0 to 2 of a frame.
struct UART_HDR_T {
    std::uint8_t start;  ///< UART_START_BYTE
    std::uint8_t type;   ///< board type; a received frame needs 1, 3 or 5
    std::uint8_t cmd;    ///< command code
};

/// Tail, the last two bytes of a frame.
struct UART_TAIL_T {
    std::uint8_t cksum;  ///< XOR of header and data
    std::uint8_t end;    ///< UART_END_BYTE
};

inline constexpr int UART_HDR_LEN = sizeof(UART_HDR_T);    ///< bytes
inline constexpr int UART_TAIL_LEN = sizeof(UART_TAIL_T);  ///< bytes
static_assert(UART_HDR_LEN == 3 && UART_TAIL_LEN == 2, "the records lie on the wire without padding");

/// Size of every frame that the board receives, in bytes.
inline constexpr int UART_FRAME_LEN = UART_HDR_LEN + UART_BODY_LEN + UART_TAIL_LEN;
/// Most data bytes that fit a frame buffer.
inline constexpr int UART_MAX_DATA_LEN = UART_BUF_SIZE - UART_HDR_LEN - UART_TAIL_LEN;

// Command codes of received frames, and what each tests.
inline constexpr unsigned char CMD_READ_VERSION = 1;         ///< versions of the hardware and of the library
inline constexpr unsigned char CMD_COMM_TEST = 2;            ///< the second serial port, with a loopback plug
inline constexpr unsigned char CMD_GPO_TEST = 3;             ///< digital outputs
inline constexpr unsigned char CMD_GPI_TEST = 4;             ///< digital inputs
inline constexpr unsigned char CMD_PWM_OUT_TEST = 5;         ///< PWM outputs
inline constexpr unsigned char CMD_ADC_IN_TEST = 6;          ///< analogue inputs
inline constexpr unsigned char CMD_SPEAKER_OUT_TEST = 7;     ///< speaker
inline constexpr unsigned char CMD_EXT_DEVICE_TEST = 8;      ///< USB disk, file, network
inline constexpr unsigned char CMD_LCD_BLU_TEST = 9;         ///< display and its backlight
inline constexpr unsigned char CMD_TOUCH_TEST = 10;          ///< touch panel
inline constexpr unsigned char CMD_RTC_TEST = 11;            ///< real-time clock
inline constexpr unsigned char CMD_RAM_TEST = 12;            ///< memory
inline constexpr unsigned char CMD_FLASH_TEST = 13;          ///< flash memory
inline constexpr unsigned char CMD_CONFIRM_TEST_MODE = 255;  ///< whether the board is in test mode
/// Command code of the board's error frame, whose 26 data bytes are all 0xFF.
inline constexpr unsigned char CMD_ERROR = CMD_CONFIRM_TEST_MODE;

/// A command code and its name.
struct UART_COMMAND_T {
    unsigned char code;  ///< as in the frame
    const char* name;    ///< that of its constant
};

/// Every command that a received frame may carry, in the order of the codes.
inline constexpr UART_COMMAND_T UART_COMMANDS[] = {
    {CMD_READ_VERSION, "CMD_READ_VERSION"},
    {CMD_COMM_TEST, "CMD_COMM_TEST"},
    {CMD_GPO_TEST, "CMD_GPO_TEST"},
    {CMD_GPI_TEST, "CMD_GPI_TEST"},
    {CMD_PWM_OUT_TEST, "CMD_PWM_OUT_TEST"},
    {CMD_ADC_IN_TEST, "CMD_ADC_IN_TEST"},
    {CMD_SPEAKER_OUT_TEST, "CMD_SPEAKER_OUT_TEST"},
    {CMD_EXT_DEVICE_TEST, "CMD_EXT_DEVICE_TEST"},
    {CMD_LCD_BLU_TEST, "CMD_LCD_BLU_TEST"},
    {CMD_TOUCH_TEST, "CMD_TOUCH_TEST"},
    {CMD_RTC_TEST, "CMD_RTC_TEST"},
    {CMD_RAM_TEST, "CMD_RAM_TEST"},
    {CMD_FLASH_TEST, "CMD_FLASH_TEST"},
    {CMD_CONFIRM_TEST_MODE, "CMD_CONFIRM_TEST_MODE"},
};

/// The entry of a command code, or null for a code that is no command (0 and 14 to 254).
constexpr const UART_COMMAND_T* FindCommand(unsigned char code)
{
    for (const UART_COMMAND_T& command : UART_COMMANDS) {
        if (command.code == code) {
            return &command;
        }
    }
    return nullptr;
}

/// True for the board types that a received frame may carry: 1, 3 and 5.
constexpr bool IsBoardType(unsigned char type)
{
    return type == 1 || type == 3 || type == 5;
}

// Failures of the link. They travel in events and log lines on the board, never on the wire.
inline constexpr int ERR_RECV_HEADER = 0x10000000;  ///< fewer than 3 header bytes could be read
inline constexpr int ERR_RECV_BODY = 0x10000001;    ///< fewer than 26 body bytes could be read
inline constexpr int ERR_RECV_TAIL = 0x10000002;    ///< fewer than 2 tail bytes could be read
inline constexpr int ERR_CHECKSUM = 0x10000003;     ///< the computed checksum differs from the received one
inline constexpr int ERR_BOARD_TYPE = 0x10000004;   ///< the board type is not 1, 3 or 5
inline constexpr int ERR_COMMAND = 0x10000005;      ///< the command code is not a command

// Events of the link.
inline constexpr int EVT_UART_RECV = 1000;  ///< receiver to manager: header, body
inline constexpr int EVT_UART_ERR = 1001;   ///< receiver to manager: error code, header
inline constexpr int EVT_CMD_BASE = 10000;  ///< manager to application: this plus the command code

/// Lays a frame out at `frame`, which must hold `length` + 5 bytes, and returns its size in bytes.
/// `data` may be null when `length` is 0. Checks no bound: `length` is at most UART_MAX_DATA_LEN.
inline int BuildFrame(unsigned char* frame, unsigned char type, unsigned char cmd, const void* data, int length)
{
    const int covered = UART_HDR_LEN + length;
    frame[0] = UART_START_BYTE;
    frame[1] = type;
    frame[2] = cmd;
    if (length > 0) {
        std::memcpy(frame + UART_HDR_LEN, data, static_cast<std::size_t>(length));
    }
    frame[covered] = Common::Convertor::CChecksum::Checksum8(frame, static_cast<unsigned int>(covered));
    frame[covered + 1] = UART_END_BYTE;
    return covered + UART_TAIL_LEN;
}

}  // namespace UART
