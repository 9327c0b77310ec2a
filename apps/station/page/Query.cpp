// The query of a URL, checked.
#include "apps/station/page/Query.h"

#include <charconv>
#include <ctime>
#include <regex>
#include <stdexcept>

#include "apps/station/Types.h"
#include "apps/station/records/Time.h"

namespace Station {

namespace {

using std::chrono::system_clock;

[[noreturn]] void Refuse(const std::string& name, const std::string& problem)
{
    throw std::invalid_argument("The parameter " + name + " " + problem + ".");
}

}  // namespace

Query::Query(const Parameters& parameters) : m_parameters(parameters) {}

std::optional<std::string> Query::Text(const std::string& name)
{
    constexpr std::size_t MOST = 1000;  // bytes
    m_known.insert(name);
    if (m_parameters.count(name) > 1) {
        Refuse(name, "is there more than once");
    }
    const auto found = m_parameters.find(name);
    if (found == m_parameters.end() || found->second.empty()) {
        return std::nullopt;
    }
    const std::string& text = found->second;
    if (text.size() > MOST || text.find('\0') != std::string::npos || text != ToUtf8(text)) {
        Refuse(name, "is not a text of at most " + std::to_string(MOST) + " bytes in UTF-8");
    }
    return text;
}

std::optional<long long> Query::Number(const std::string& name, long long least, long long most)
{
    const std::optional<std::string> text = Text(name);
    if (!text) {
        return std::nullopt;
    }
    long long number = 0;
    const char* const end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || stop != end || number < least || number > most) {
        Refuse(name, "is not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

std::optional<system_clock::time_point> Query::Day(const std::string& name)
{
    const std::optional<std::string> text = Text(name);
    if (!text) {
        return std::nullopt;
    }
    try {
        if (std::regex_match(*text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}"))) {
            return ParseTime(*text, {});
        }
    } catch (const std::invalid_argument&) {  // no day of the calendar: told below, as other shapes are
    }
    Refuse(name, "is not a day as 2026-11-23");
}

std::optional<system_clock::time_point> Query::DayAfter(const std::string& name)
{
    const auto day = Day(name);
    if (!day) {
        return std::nullopt;
    }
    const std::time_t begin = system_clock::to_time_t(*day);
    std::tm parts{};
    localtime_r(&begin, &parts);
    parts.tm_mday += 1;  // not 24 hours: a clock change makes it 23 or 25
    parts.tm_hour = 0;
    parts.tm_isdst = -1;
    return system_clock::from_time_t(mktime(&parts));
}

void Query::Finish() const
{
    for (const auto& [name, value] : m_parameters) {
        if (m_known.count(name) == 0) {
            throw std::invalid_argument("There is no parameter " + Shown(name) + " here.");
        }
    }
}

}  // namespace Station
