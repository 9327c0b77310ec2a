// Which checks of the demo's plan fail for a fault of the simulated board. Faults have the names that the simulated
// board gives them.
#pragma once

#include <map>
#include <set>
#include <string>

namespace Station {

/// The checks by name. A fault without any is one that neither a station nor an instrument can see.
inline const std::map<std::string, std::set<std::string>> DEMO_FAULTS = {
    {"status-missing", {"version", "outputs", "inputs", "outputs inverted", "inputs inverted", "pwm"}},
    {"status-refuses", {"version", "inputs", "inputs inverted", "pwm"}},
    {"inputs-stuck", {"inputs", "inputs inverted"}},
    {"input-open", {"inputs"}},
    {"pwm-refused", {"pwm"}},
    {"rtc-missing", {"set_clock", "read_clock"}},
    {"rtc-refuses", {"set_clock", "read_clock"}},
    {"rtc-forgets", {"set_clock", "read_clock"}},
    {"rtc-stopped", {"read_clock"}},
    {"rtc-garbled", {"set_clock", "read_clock"}},
    {"clock-refused",
     {}},  // the reply tells the real-time clock alone, and nothing else of the board shows its system clock
    {"disk-missing", {"disk", "file"}},
    {"disk-unformatted", {"disk", "file"}},
    {"disk-partitioned", {}},  // such a disk is a good one
    {"disk-full", {"file"}},
    {"disk-read-only", {"file"}},
    {"disk-corrupt", {"file"}},
    {"network-down", {"ping"}},
    {"ping-silent", {"ping"}},
    {"ping-stranger", {"ping"}},
    {"ping-refused", {"ping"}},
    {"interface-missing", {"address"}},
    {"serial-missing", {"loopback"}},
    {"loopback-unplugged", {"loopback"}},
    {"loopback-cut", {"loopback"}},
    {"loopback-late", {"loopback"}},
    {"loopback-garbled", {"loopback"}},
    {"display-missing", {"picture white", "picture black", "picture bars", "picture dim", "brightness", "touch"}},
    {"display-refuses", {"picture white", "picture black", "picture bars", "picture dim", "brightness", "touch"}},
    {"touch-missing", {"touch"}},
    {"touch-shifted", {"touch"}},
    {"touch-mirrored", {"touch"}},
    {"touch-unplugged", {"touch"}},
    {"touch-silent", {"touch"}},
};

}  // namespace Station
