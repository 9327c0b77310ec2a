// What the bench asks of the station, and what it is told.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "apps/station/page/PageState.h"
#include "apps/station/page/Server.h"

namespace Station {

/// Called by threads of the server, several at once.
struct BenchActions {
    /// Begins a unit on a port, from 0, or on the next free one; returns which. Throws std::exception that says why it
    /// does not.
    std::function<std::size_t(const std::string& scanned, std::optional<std::size_t> place)> begin;
    /// Interrupts the unit on that port.
    std::function<void(std::size_t place)> stop;
};

/// Adds to the server, with JSON in and out, and panels counted from 1:
/// GET /api/state, all that is shown;
/// GET /api/events, the same and its changes as server-sent events, with one named "beat" at least each second, for at
/// most 16 browsers;
/// POST /api/scan {"text", "panel" (or else the next free one)}, answered with {"panel"};
/// POST /api/answer {"panel", "question" (its id), "yes"}, refused when another question is open by now;
/// POST /api/stop {"panel", "run" (the panel's)}, refused when another unit is under test by now.
/// `state` outlives the server.
void AddBench(Server& server, PageState& state, std::size_t panels, const BenchActions& actions);

}  // namespace Station
