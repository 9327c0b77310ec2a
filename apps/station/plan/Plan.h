// A plan: what is checked on a unit, in which order, and what has to come out.
#pragma once

#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "apps/station/checks/Check.h"
#include "apps/station/checks/Program.h"

namespace Station {

/// One check of a plan with what all kinds have in common.
struct Entry {
    std::string kind;
    std::string name;  ///< unique in its plan
    std::shared_ptr<const Check> check;
    bool isOptional = false;         ///< its result does not count for the unit
    std::optional<Seconds> timeout;  ///< of an attempt, instead of the kind's own
    int retries = 1;                 ///< after no answer, an error frame or a damaged reply
    Seconds pause{0};                ///< before it begins
    std::string ask;                 ///< a question to the operator, to be answered with yes
    std::optional<Program> measure;  ///< that measures what the board cannot judge
    std::string hint;                ///< what a technician looks at when it fails
    bool isProven = true;  ///< somebody or something tells whether it passed: the board, an operator, a measurement
};

struct Plan {
    std::string file;    ///< empty for the built-in one
    std::string sha256;  ///< of its text, in hexadecimal digits
    std::string name;
    std::string version;
    unsigned char boardType = 1;
    LineSettings line;
    std::string serialPattern;  ///< what a serial number looks like; empty for any
    std::optional<std::regex> serialNumber;
    bool stopOnFail = false;
    Seconds bootTimeout{0};         ///< how long the board may take until it answers
    std::optional<Program> before;  ///< runs before the first check
    std::optional<Program> after;   ///< and after the verdict
    std::vector<Entry> entries;
};

}  // namespace Station
