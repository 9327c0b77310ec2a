// A time as a person types it.
#pragma once

#include <chrono>
#include <string>

namespace Station {

/// Understands "2026-11-23" (its first moment here), "2026-11-23T14:00" and "2026-11-23T14:00:30" (local time, or UTC
/// with a "Z" behind), and an age: "90m", "12h", "7d". Years are from 1970 to 2199, an age is at most 36500 days.
/// @throws std::invalid_argument for anything else, which says what is expected
std::chrono::system_clock::time_point ParseTime(const std::string& word, std::chrono::system_clock::time_point now);

}  // namespace Station
