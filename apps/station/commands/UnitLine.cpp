// Unit after unit on all ports at once.
#include "apps/station/commands/UnitLine.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "apps/station/report/Text.h"

namespace Station {

namespace {

constexpr const char* BLANKS = " \t\r\n\v\f";

/// What would move the cursor of a terminal, or end the text for a program of the plan's.
bool HasControls(const std::string& text)
{
    constexpr char DELETE = 0x7F;
    return std::any_of(text.begin(), text.end(), [](char character) {
        const bool isBlank = IsBlank({character});
        return character == DELETE || (character >= 0 && character < ' ' && !isBlank);
    });
}

/// As people count.
std::string PortNumber(std::size_t place)
{
    return "port " + std::to_string(place + 1);
}

}  // namespace

bool IsBlank(const std::string& text)
{
    return text.find_first_not_of(BLANKS) == std::string::npos;
}

UnitLine::UnitLine(const Options& options, const Plan& plan, Records* records, std::vector<Viewer*> viewers,
                   std::function<void()> onEnd)
    : m_options(options),
      m_plan(plan),
      m_records(records),
      m_places(viewers.size()),
      m_fixture(viewers.size(), std::move(onEnd))
{
    for (std::size_t place = 0; place < viewers.size(); ++place) {
        m_places[place].viewer = viewers[place];
    }
}

std::optional<std::size_t> UnitLine::Next()
{
    m_next = m_next ? m_next : m_fixture.FreePlace();
    return m_next;
}

std::size_t UnitLine::Begin(const std::string& scanned, std::optional<std::size_t> place)
{
    if (HasControls(scanned)) {
        throw std::runtime_error("the serial number has control characters");
    }
    const std::string unit = SerialNumber(scanned, m_plan);
    const std::size_t free = FreePlace(unit, place);
    Place& chosen = m_places[free];
    const auto passed = m_records != nullptr && !unit.empty() ? m_records->LastPass(unit) : std::nullopt;
    chosen.stop = false;
    chosen.viewer->ShowUnit(unit, passed ? unit + " has passed before, on " + LocalTime(*passed) : "");
    m_fixture.Start(free, [this, free, unit, &chosen] {
        return TestUnit({m_options, m_plan, m_records, chosen.stop}, m_options.ports[free], unit, *chosen.viewer);
    });
    chosen.unit = unit;
    if (m_next == free) {
        m_next.reset();
    }
    return free;
}

/// Where it may be tested.
std::size_t UnitLine::FreePlace(const std::string& unit, std::optional<std::size_t> chosen)
{
    const auto same = std::find_if(m_places.begin(), m_places.end(),
                                   [&](const Place& place) { return place.unit == unit && !unit.empty(); });
    if (same != m_places.end()) {
        throw std::runtime_error(unit + " is under test on " +
                                 PortNumber(static_cast<std::size_t>(same - m_places.begin())));
    }
    const std::string what = unit.empty() ? "the unit" : unit;
    if (chosen && m_places.at(*chosen).unit) {
        throw std::runtime_error(PortNumber(*chosen) + " is not free for " + what + ": scan it again when it is");
    }
    const auto free = chosen ? chosen : Next();
    if (!free) {
        throw std::runtime_error("no port is free for " + what + ": scan it again when one is");
    }
    return *free;
}

void UnitLine::StopAll()
{
    for (Place& place : m_places) {
        place.stop = true;
    }
}

void UnitLine::TakeEnded()
{
    while (const auto ended = m_fixture.TakeEnded()) {
        Place& place = m_places[ended->place];
        if (!ended->problem.empty()) {
            place.viewer->Complain(ended->problem);
        }
        place.viewer->ShowVerdict(place.unit.value_or(""), ended->exitCode);
        place.unit.reset();
        m_exitCode = WorseExitCode(m_exitCode, ended->exitCode);
    }
}

}  // namespace Station
