// What a person types for `send`, as a command code and data bytes.
#include "apps/station/commands/SentCommand.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <strings.h>

#include "apps/station/checks/Parameters.h"

namespace Station {

namespace {

/// The byte that a word stands for, nothing if the word is no number.
std::optional<unsigned char> ParseByte(const std::string& word)
{
    const bool hex = word.size() > 2 && (word.compare(0, 2, "0x") == 0 || word.compare(0, 2, "0X") == 0);
    const std::string_view digits = std::string_view(word).substr(hex ? 2 : 0);
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, hex ? 16 : 10);
    if (error == std::errc::invalid_argument || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        throw std::invalid_argument(word + " does not fit a byte (0 to 255)");
    }
    return byte;
}

/// The bytes up to the last that is not 0, and as text where they are one.
std::string InWords(const Bytes& values)
{
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    const auto end = std::find_if_not(values.rbegin(), values.rend(), isZero).base();
    const Bytes bytes(values.begin(), end);
    const bool isText = bytes.size() > 1 && std::all_of(bytes.begin(), bytes.end(),
                                                        [](unsigned char byte) { return byte >= ' ' && byte <= '~'; });
    return bytes.empty() ? "every value is 0" : Hex(bytes) + (isText ? " \"" + TextOf(bytes, 0) + '"' : "");
}

}  // namespace

std::string SentCommand::Task() const
{
    return *Code() == UART::CMD_TOUCH_TEST
               ? "Touch the five targets on the display, each in its middle, as they appear."
               : "";
}

void SentCommand::Explain(const Bytes& values, Bench& /*bench*/, Finding& finding) const
{
    finding.message = InWords(values);
}

void SentCommand::ExplainFailure(const Bytes& values, Finding& finding) const
{
    finding.message = "the check failed on the board, with " + InWords(values) + ": see the board's system log";
}

unsigned char ParseCommand(const std::string& word)
{
    const std::string prefix = "CMD_";
    for (const UART::UART_COMMAND_T& command : UART::UART_COMMANDS) {
        if (strcasecmp(word.c_str(), command.name) == 0 || strcasecmp((prefix + word).c_str(), command.name) == 0) {
            return command.code;
        }
    }
    if (const std::optional<unsigned char> code = ParseByte(word)) {
        return *code;
    }
    std::vector<std::string> names;
    std::transform(std::begin(UART::UART_COMMANDS), std::end(UART::UART_COMMANDS), std::back_inserter(names),
                   [](const UART::UART_COMMAND_T& command) { return command.name; });
    std::string upper = word;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    const auto nearest = Nearest(upper.rfind(prefix, 0) == 0 ? upper : prefix + upper, names);
    throw std::invalid_argument("there is no command " + word + (nearest ? ": did you mean " + *nearest + "?" : ""));
}

Bytes ParseData(const std::vector<std::string>& words)
{
    const std::string marker = "text:";
    Bytes data;
    for (const std::string& word : words) {
        if (word.compare(0, marker.size(), marker) == 0) {
            data.insert(data.end(), word.begin() + static_cast<std::ptrdiff_t>(marker.size()), word.end());
        } else if (const std::optional<unsigned char> byte = ParseByte(word)) {
            data.push_back(*byte);
        } else {
            data.insert(data.end(), word.begin(), word.end());
        }
    }
    if (data.size() > UART::UART_BODY_LEN) {
        throw std::invalid_argument("a command carries at most " + std::to_string(UART::UART_BODY_LEN) +
                                    " data bytes, not " + std::to_string(data.size()));
    }
    return data;
}

}  // namespace Station
