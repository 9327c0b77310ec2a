// The words that all rooms of the station share.
#pragma once

#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Station {

using Bytes = std::vector<unsigned char>;
using Seconds = std::chrono::duration<double>;

/// Line settings as a person writes them; the defaults are the board's.
struct LineSettings {
    int speed = 115200;                ///< bit/s: 9600, 19200, 38400, 57600 or 115200
    int dataBits = 8;                  ///< 5 to 8
    int stopBits = 1;                  ///< 1 or 2
    std::string parity = "none";       ///< none, odd or even
    std::string flowControl = "none";  ///< none or hardware
};

/// What a value has to be: each bound that is given.
struct Limits {
    std::optional<double> least;
    std::optional<double> most;
    std::optional<std::string> expected;  ///< of a text

    [[nodiscard]] bool IsAny() const { return least || most || expected; }
};

/// Something that was measured or read.
struct Value {
    std::string name;
    std::variant<double, std::string> value;
    std::string unit;
    Limits limits;

    /// True when it is what its limits ask for; a text is outside of limits for numbers.
    [[nodiscard]] bool IsWithin() const;
    /// "3.3 V"
    [[nodiscard]] std::string Text() const;
    /// "3.0 to 3.6 V", "at most 20 px", "A5 3C"; empty without limits.
    [[nodiscard]] std::string LimitsText() const;

private:
    /// Of the number and its limits: as many as it takes to tell the one from the others.
    [[nodiscard]] int Digits() const;
};

/// Of the one or more values of a check.
using Values = std::vector<Value>;

/// A number as a person writes it: without needless digits. All decimals of a number that was typed are there; what
/// binary arithmetic adds behind them is not.
std::string NumberText(double number, int digits = std::numeric_limits<double>::digits10);

/// The text, with U+FFFD in the place of what is no UTF-8.
std::string ToUtf8(const std::string& text);

/// A text of others as a line on a terminal, in UTF-8: its control characters, which could clear the screen or look
/// like another line, are spelled out: "\x1B".
std::string Shown(const std::string& text);

}  // namespace Station
