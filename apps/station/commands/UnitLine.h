// Unit after unit on all ports at once, as their serial numbers are scanned: what is refused, started and stopped.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/commands/Unit.h"
#include "apps/station/run/Fixture.h"

namespace Station {

/// A number that comes while its port is taken is not kept: the board of the unit before is still connected, and would
/// be tested under it. Used by one thread at a time.
class UnitLine {
public:
    /// A viewer for each port; they, options, plan and records (null for none) outlive this object. `onEnd` is called
    /// on a unit's thread when it has ended.
    UnitLine(const Options& options, const Plan& plan, Records* records, std::vector<Viewer*> viewers,
             std::function<void()> onEnd);

    /// Place of the port that the next unit is to be connected to, if one is free: the same one, whatever ends, until a
    /// unit begins on it.
    std::optional<std::size_t> Next();
    [[nodiscard]] bool IsIdle() const { return m_fixture.IsIdle(); }
    /// The worst of all units so far.
    [[nodiscard]] int WorstExitCode() const { return m_exitCode; }

    /// Starts the unit of that number on that port, from 0, or else on the next one; returns which.
    /// @throws std::exception that says why it cannot be tested
    std::size_t Begin(const std::string& scanned, std::optional<std::size_t> place = std::nullopt);
    /// Interrupts the unit on that port.
    void Stop(std::size_t place) { m_places.at(place).stop = true; }
    void StopAll();
    /// Shows what has ended; those ports are free from now on.
    void TakeEnded();

private:
    struct Place {
        Viewer* viewer = nullptr;
        std::optional<std::string> unit;  ///< under test
        std::atomic<bool> stop{false};
    };

    [[nodiscard]] std::size_t FreePlace(const std::string& unit, std::optional<std::size_t> chosen);

    const Options& m_options;
    const Plan& m_plan;
    Records* m_records;
    std::vector<Place> m_places;
    std::optional<std::size_t> m_next;
    int m_exitCode = 0;
    Fixture m_fixture;  ///< its units use what stands above
};

/// True for a text of blanks and line ends alone.
bool IsBlank(const std::string& text);

}  // namespace Station
