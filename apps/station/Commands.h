// What the station knows of each command: how long it may take, and what a reply says.
#pragma once

#include <ctime>
#include <string>

#include "apps/Protocol.h"
#include "apps/station/Link.h"
#include "apps/station/Record.h"

namespace Station {

using namespace Protocol;

/// "CMD_TOUCH_TEST", or "0x55" for a code that is no command.
std::string CommandName(unsigned char code);

/// How long one attempt may take.
Seconds CommandTimeout(unsigned char code);

/// What somebody at the board has to do before it answers; null for a command that needs nobody.
const char* CommandTask(unsigned char code);

/// What to look at when no answer comes in time.
std::string SilenceHint(unsigned char code);

/// What a reply says.
struct Finding {
    bool good;          ///< the board passed the check, and what it measured agrees with the request
    std::string words;  ///< what came back; if not good, with what to look at
    Values values;      ///< the request's parameters and what was measured
};

/// Explains the reply to a check that the board could carry out. `values` are the 25 bytes after the status, `passed`
/// is what the status says.
Finding Explain(unsigned char code, const Bytes& request, const Bytes& values, bool passed);

// The time of a clock record is a calendar time without a time zone.

/// The weekday is ignored.
std::time_t CalendarTime(const unsigned char* clock);
Bytes ClockBytes(std::time_t time);
/// "2026-11-16 16:21:35"
std::string ClockText(std::time_t time);

}  // namespace Station
