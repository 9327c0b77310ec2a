// The framework's string class.
#include "ostrel/String.h"

namespace Ostrel::Common {

String::String(const char* text) : m_text(text != nullptr ? text : "") {}

String& String::operator=(const char* text)
{
    m_text = text != nullptr ? text : "";
    return *this;
}

}  // namespace Ostrel::Common
