// The framework's string class.
#pragma once

#include <string>

namespace Ostrel::Common {

/// Owns a copy of a text. A null pointer stands for the empty text.
class String {
public:
    /// The empty text.
    String() = default;
    /// Takes a copy.
    String(const char* text);  // NOLINT(google-explicit-constructor): a text converts to a String
    /// Replaces the text by a copy of another.
    String& operator=(const char* text);

    /// The text, never null; valid until it is replaced.
    [[nodiscard]] const char* c_str() const noexcept { return m_text.c_str(); }

private:
    std::string m_text;
};

}  // namespace Ostrel::Common
