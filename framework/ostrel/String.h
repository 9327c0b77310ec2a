// The framework's string class.
#pragma once

#include <string>

namespace Ostrel::Common {

/// Owns a copy of a text. A null pointer stands for the empty text.
class String {
public:
    String() = default;
    String(const char* text);  // NOLINT(google-explicit-constructor): a text converts to a String
    String& operator=(const char* text);

    [[nodiscard]] const char* c_str() const noexcept { return m_text.c_str(); }

private:
    std::string m_text;
};

}  // namespace Ostrel::Common
