// The query of a URL, checked.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace Station {

/// Each parameter is asked for by its name; an empty one counts as left out. What is wrong throws
/// std::invalid_argument, with a sentence that names the parameter.
class Query {
public:
    /// Names and values, decoded.
    using Parameters = std::multimap<std::string, std::string>;

    /// The parameters outlive this object.
    explicit Query(const Parameters& parameters);

    std::optional<std::string> Text(const std::string& name);
    /// A whole number.
    std::optional<long long> Number(const std::string& name, long long least, long long most);
    /// The first moment of a day here, as 2026-11-23.
    std::optional<std::chrono::system_clock::time_point> Day(const std::string& name);
    /// The first moment of the day behind it.
    std::optional<std::chrono::system_clock::time_point> DayAfter(const std::string& name);
    /// Refuses parameters that nobody has asked for.
    void Finish() const;

private:
    const Parameters& m_parameters;
    std::set<std::string> m_known;
};

}  // namespace Station
