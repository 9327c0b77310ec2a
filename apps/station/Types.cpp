// The words that all rooms of the station share.
#include "apps/station/Types.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

namespace Station {

namespace {

std::string WithUnit(const std::string& text, const std::string& unit)
{
    return unit.empty() ? text : text + ' ' + unit;
}

}  // namespace

std::string NumberText(double number, int digits)
{
    std::ostringstream text;
    text.precision(digits);
    text << number + 0.0;  // no negative zero
    return text.str();
}

std::string ToUtf8(const std::string& text)
{
    using Json = nlohmann::json;
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

std::string Shown(const std::string& text)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    constexpr unsigned char DELETE = 0x7F;
    constexpr unsigned char LEAD = 0xC2;  // of U+0080 to U+009F, which are control characters as well
    std::string shown;
    unsigned char before = 0;
    for (const char letter : ToUtf8(text)) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isSecond = before == LEAD && byte < 0xA0;
        if (isSecond) {
            shown.pop_back();
        }
        if (isSecond || byte < ' ' || byte == DELETE) {
            shown += {'\\', 'x', DIGITS[byte >> 4], DIGITS[byte & 0x0F]};
        } else {
            shown += letter;
        }
        before = byte;
    }
    return shown;
}

bool Value::IsWithin() const
{
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return !limits.least && !limits.most && (!limits.expected || *text == *limits.expected);
    }
    const double number = std::get<double>(value);
    return std::isfinite(number) && (!limits.least || number >= *limits.least) &&
           (!limits.most || number <= *limits.most) && (!limits.expected || NumberText(number) == *limits.expected);
}

int Value::Digits() const
{
    const auto* const number = std::get_if<double>(&value);
    const auto looksLike = [number](const std::optional<double>& limit) {
        return number != nullptr && limit && *number != *limit && NumberText(*number) == NumberText(*limit);
    };
    return looksLike(limits.least) || looksLike(limits.most) ? std::numeric_limits<double>::max_digits10
                                                             : std::numeric_limits<double>::digits10;
}

std::string Value::Text() const
{
    const auto* const text = std::get_if<std::string>(&value);
    return WithUnit(text != nullptr ? *text : NumberText(std::get<double>(value), Digits()), unit);
}

std::string Value::LimitsText() const
{
    if (limits.expected) {
        return WithUnit(*limits.expected, unit);
    }
    if (limits.least && limits.most) {
        return WithUnit(NumberText(*limits.least, Digits()) + " to " + NumberText(*limits.most, Digits()), unit);
    }
    if (limits.least) {
        return WithUnit("at least " + NumberText(*limits.least, Digits()), unit);
    }
    return limits.most ? WithUnit("at most " + NumberText(*limits.most, Digits()), unit) : "";
}

}  // namespace Station
