// What the test application answers to a command.
#pragma once

#include <array>

#include "uart/UARTFrame.h"

namespace TestApp {

/// Data byte 0 of every reply.
enum class Status : unsigned char { PASS = 0, FAIL = 1, NOT_SUPPORTED = 2, BAD_REQUEST = 3 };

/// Data bytes of every reply; unused ones are 0.
using Reply = std::array<unsigned char, UART::UART_BODY_LEN>;

/// A reply that carries its status alone.
inline Reply StatusReply(Status status)
{
    return {static_cast<unsigned char>(status)};
}

/// For an operation that gives 0 when it succeeds.
inline Status StatusOf(int result)
{
    return result == 0 ? Status::PASS : Status::FAIL;
}

}  // namespace TestApp
