// The words that all rooms of the station share.
#include "apps/station/Types.h"

#include <cmath>
#include <sstream>

namespace Station {

namespace {

std::string WithUnit(const std::string& text, const std::string& unit)
{
    return unit.empty() ? text : text + ' ' + unit;
}

}  // namespace

std::string NumberText(double number)
{
    constexpr int DIGITS = 10;
    std::ostringstream text;
    text.precision(DIGITS);
    text << number;
    return text.str();
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

std::string Value::Text() const
{
    const auto* const text = std::get_if<std::string>(&value);
    return WithUnit(text != nullptr ? *text : NumberText(std::get<double>(value)), unit);
}

std::string Value::LimitsText() const
{
    if (limits.expected) {
        return WithUnit(*limits.expected, unit);
    }
    if (limits.least && limits.most) {
        return WithUnit(NumberText(*limits.least) + " to " + NumberText(*limits.most), unit);
    }
    if (limits.least) {
        return WithUnit("at least " + NumberText(*limits.least), unit);
    }
    return limits.most ? WithUnit("at most " + NumberText(*limits.most), unit) : "";
}

}  // namespace Station
