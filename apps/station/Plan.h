// The plan of a run: one entry per check says what is sent and what must come back.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/station/Commands.h"
#include "apps/station/Touch.h"

namespace Station {

/// One check of a plan, or a command that a person sends.
struct Check {
    unsigned char code;
    std::string name;  ///< that of the command, with a suffix if it has several checks
    std::string description;
    std::function<Bytes()> request;  ///< makes the data bytes, at most 26, when the check begins
    /// Judges a reply of a board that passed the check further than Explain does. Null when there is no more to say.
    std::function<void(const Bytes& values, Finding& finding)> expect;
    Seconds pause{0};  ///< before the check begins
};

/// What a plan has to know of the unit and its surroundings.
struct PlanSettings {
    int disk = 0;                                ///< 0 to 2
    std::string file = "/mnt/usb/testmode.bin";  ///< on the board; at most 24 characters
    std::string ping = "127.0.0.1";              ///< IPv4 address
    std::string interface = "lo";                ///< of the board; at most 15 characters
    ScreenSize screen = {800, 480};              ///< of the board
    int tolerance = 20;                          ///< pixels from the middle of a target to where it is touched
    double view = 0;                             ///< seconds that each picture is shown, for somebody to look at it
};

/// Every check, in the order of the codes, the touch test last as it waits for a person. A plan is good for one run:
/// its checks remember what an earlier one saw.
std::vector<Check> MakePlan(const PlanSettings& settings);

/// A command by itself, with nothing expected.
Check PlainCheck(unsigned char code, Bytes request);

}  // namespace Station
