// What the test application answers to a command.
#pragma once

#include <array>

#include "apps/Protocol.h"

namespace TestApp {

using namespace Protocol;

/// Data bytes of every reply; unused ones are 0.
using Reply = std::array<unsigned char, REPLY_LEN>;

/// A reply that carries its status alone.
inline Reply StatusReply(Status status)
{
    return {status};
}

/// For an operation that gives 0 when it succeeds.
inline Status StatusOf(int result)
{
    return result == 0 ? STATUS_PASS : STATUS_FAIL;
}

/// The status and the result code of an operation that gives 0 when it succeeds.
inline Reply ResultCodeReply(int code)
{
    return {StatusOf(code), static_cast<unsigned char>(code)};
}

}  // namespace TestApp
