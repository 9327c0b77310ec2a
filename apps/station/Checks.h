// The checks: one entry per command says what is sent, how long it may take and what the reply means.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/station/Link.h"
#include "apps/station/Record.h"

namespace Station {

struct Check {
    unsigned char code;
    const char* description;
    Bytes request;    ///< data bytes of the plan's request, at most 26
    Seconds timeout;  ///< for one attempt
    /// Words for the reply: the request and the 25 bytes after the status. Null if the reply carries no values.
    std::string (*describe)(const Bytes& request, const Bytes& values);
};

/// Every check, in the order of the plan: that of the codes, the touch test last as it waits for a person.
const std::vector<Check>& Checks();

/// The check of any command code; codes without an entry get one that sends no data.
Check CheckFor(unsigned char code);

/// "CMD_TOUCH_TEST", or "0x55" for a code that is no command.
std::string CommandName(unsigned char code);

struct Verdict {
    Result result;
    std::string message;
    std::optional<int> status;  ///< none without a reply
};

/// Judges a reply of 31 bytes to `request`.
Verdict Judge(const Check& check, const Bytes& request, const Bytes& reply, unsigned char boardType);

}  // namespace Station
