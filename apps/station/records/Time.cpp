// A time as a person types it.
#include "apps/station/records/Time.h"

#include <ctime>
#include <optional>
#include <regex>
#include <stdexcept>

namespace Station {

namespace {

using std::chrono::system_clock;

std::optional<system_clock::duration> ParseAge(const std::string& word)
{
    constexpr std::chrono::hours DAY{24};
    constexpr auto MOST = 36500 * DAY;
    std::smatch parts;
    if (!std::regex_match(word, parts, std::regex("([0-9]{1,8})([mhd])"))) {
        return std::nullopt;
    }
    const std::chrono::minutes unit = parts[2] == "m" ? std::chrono::minutes(1) : std::chrono::minutes(60);
    const std::chrono::minutes age = std::stoi(parts[1]) * (parts[2] == "d" ? DAY : unit);
    return age <= MOST ? std::optional<system_clock::duration>(age) : std::nullopt;
}

/// Whether the calendar has that day.
bool IsDay(std::tm parts)
{
    const std::tm typed = parts;
    timegm(&parts);
    return parts.tm_mday == typed.tm_mday && parts.tm_mon == typed.tm_mon;
}

std::optional<system_clock::time_point> ParseDate(const std::string& word)
{
    static const std::regex SHAPE("(19[7-9][0-9]|2[01][0-9]{2})-([01][0-9])-([0-3][0-9])"
                                  "(T([01][0-9]|2[0-3]):([0-5][0-9])(:([0-5][0-9]))?(Z?))?");
    std::smatch words;
    if (!std::regex_match(word, words, SHAPE)) {
        return std::nullopt;
    }
    const auto number = [&words](std::size_t at) { return words[at].matched ? std::stoi(words[at]) : 0; };
    std::tm parts{};
    parts.tm_year = number(1) - 1900;
    parts.tm_mon = number(2) - 1;
    parts.tm_mday = number(3);
    parts.tm_hour = number(5);
    parts.tm_min = number(6);
    parts.tm_sec = number(8);
    parts.tm_isdst = -1;
    if (!IsDay(parts)) {
        return std::nullopt;
    }
    return system_clock::from_time_t(words[9].length() > 0 ? timegm(&parts) : mktime(&parts));
}

}  // namespace

system_clock::time_point ParseTime(const std::string& word, system_clock::time_point now)
{
    if (const auto age = ParseAge(word)) {
        return now - *age;
    }
    if (const auto time = ParseDate(word)) {
        return *time;
    }
    throw std::invalid_argument(word + ": expected a day (2026-11-23), a time (2026-11-23T14:00, with Z for UTC) or an "
                                       "age (90m, 12h, 7d)");
}

}  // namespace Station
