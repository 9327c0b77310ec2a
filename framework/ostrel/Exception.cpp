// The framework's exceptions, which are thrown as pointers.
#include "ostrel/Exception.h"

#include <array>
#include <cstddef>
#include <utility>

namespace Ostrel::Common {

Exception::Exception(const char* message) : m_message(message) {}

Exception::~Exception() = default;

const char* Exception::GetMessage() const
{
    return m_message.c_str();
}

void Exception::Keep(std::unique_ptr<Exception> exception)
{
    thread_local std::array<std::unique_ptr<Exception>, KEPT> kept;
    thread_local std::size_t next = 0;
    kept.at(next) = std::move(exception);
    next = (next + 1) % kept.size();
}

}  // namespace Ostrel::Common
