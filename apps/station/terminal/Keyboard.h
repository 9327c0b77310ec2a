// What is typed, key by key.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <termios.h>

namespace Station {

struct Key {
    enum class Kind {
        Character,  ///< a byte of text
        Enter,
        Backspace,
        Alt,   ///< with a character
        End,   ///< Ctrl-D: no line comes any more, but keys with Alt may
        Lost,  ///< nobody can type any more
    };
    Kind kind;
    char character = '\0';
};

/// Standard input. Used by one thread.
class Keyboard {
public:
    /// A terminal gives its keys one by one and without an echo, from construction to destruction, if it is asked to;
    /// what was typed before is forgotten. Elsewhere each byte is a character or the end of a line.
    explicit Keyboard(bool takesKeys);
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// The keys that were pressed since; does not wait.
    [[nodiscard]] std::vector<Key> Take() const;

private:
    std::optional<termios> m_former;  ///< of a terminal that gives its keys
};

}  // namespace Station
