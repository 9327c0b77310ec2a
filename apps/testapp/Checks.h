// What the test application does for each command of the station.
#pragma once

#include <array>

#include "uart/UARTFrame.h"

namespace TestApp {

/// Data byte 0 of every reply.
enum class Status : unsigned char { PASS = 0, FAIL = 1, NOT_SUPPORTED = 2, BAD_REQUEST = 3 };

/// Data bytes of every reply; unused ones are 0.
using Reply = std::array<unsigned char, UART::UART_BODY_LEN>;

/// A reply that carries its status alone.
Reply StatusReply(Status status);

/// Carries out the command with that code. `request` holds its 26 data bytes; it is null for CMD_READ_VERSION and
/// CMD_CONFIRM_TEST_MODE, which have none. A command without a check is answered as not supported.
Reply CarryOut(unsigned char code, const unsigned char* request);

}  // namespace TestApp
