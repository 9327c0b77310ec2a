// line: unit after unit as their serial numbers are scanned, on all ports at once.
#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Unit.h"
#include "apps/station/report/Text.h"
#include "apps/station/run/Fixture.h"

namespace Station {

namespace {

constexpr const char* BLANKS = " \t\r\n\v\f";

bool IsBlank(const std::string& text)
{
    return text.find_first_not_of(BLANKS) == std::string::npos;
}

/// What would move the cursor of a terminal, or end the text for a program of the plan's.
bool HasControls(const std::string& text)
{
    constexpr char DELETE = 0x7F;
    return std::any_of(text.begin(), text.end(), [](char character) {
        const bool isBlank = IsBlank({character});
        return character == DELETE || (character >= 0 && character < ' ' && !isBlank);
    });
}

/// A number that comes while all ports are taken is not kept: the board of the unit before is still connected, and
/// would be tested under it.
class UnitLine {
public:
    UnitLine(const Options& options, const Plan& plan, const std::atomic<bool>& stop)
        : m_options(options),
          m_plan(plan),
          m_stop(stop),
          m_console(stop, options.ports),
          m_units(options.ports.size()),
          m_fixture(options.ports.size(), [this] { m_console.Wake(); })
    {
        m_console.ShowFrames(options.showsFrames);
        m_records = OpenRecords(options, m_console);
        m_forwarder = StartForwarding(options, m_records.get(), m_console, stop);
        m_console.ReadLines();
    }

    /// Until the end of input or the stop flag, and the end of the units in progress.
    int Run()
    {
        bool isOver = false;
        while ((!isOver && !m_stop) || !m_fixture.IsIdle()) {
            m_next = m_next ? m_next : m_fixture.FreePlace();
            m_console.SetPrompt(isOver || m_stop ? "" : Prompt());
            const Console::Typed typed = m_console.Await();
            for (const std::string& line : typed.lines) {
                if (!isOver && !m_stop && !IsBlank(line)) {
                    Take(line);
                }
            }
            isOver = isOver || typed.isOver;
            while (const auto ended = m_fixture.TakeEnded()) {
                End(*ended);
            }
        }
        return m_exitCode;
    }

private:
    [[nodiscard]] std::string Prompt()
    {
        return m_next ? "Serial number for port " + m_console.At(*m_next).Name() + ": " : "All ports are taken: ";
    }

    void Take(const std::string& scanned)
    {
        try {
            Begin(scanned);
        } catch (const std::exception& error) {
            m_console.Complain(error.what());
            m_exitCode = WorseExitCode(m_exitCode, COULD_NOT_RUN);
        }
    }

    void Begin(const std::string& scanned)
    {
        if (HasControls(scanned)) {
            throw std::runtime_error("the serial number has control characters");
        }
        const std::string unit = SerialNumber(scanned, m_plan);
        const auto same = std::find(m_units.begin(), m_units.end(), unit);
        if (same != m_units.end()) {
            throw std::runtime_error(unit + " is under test on port " + std::to_string(same - m_units.begin() + 1));
        }
        if (!m_next) {
            throw std::runtime_error("no port is free for " + unit + ": scan it again when one is");
        }
        const std::size_t place = *m_next;
        if (const auto passed = m_records ? m_records->LastPass(unit) : std::nullopt) {
            m_console.At(place).Print(Shown(unit) + " has passed before, on " + UtcTime(*passed) + " UTC");
        }
        m_fixture.Start(place, [this, place, unit] {
            return TestUnit({m_options, m_plan, m_records.get(), m_stop}, m_options.ports[place], unit,
                            m_console.At(place));
        });
        m_units[place] = unit;
        m_next = m_fixture.FreePlace();
    }

    void End(const Fixture::Ended& ended)
    {
        Console::View& console = m_console.At(ended.place);
        if (!ended.problem.empty()) {
            console.Complain(ended.problem);
        }
        const std::string unit = std::exchange(m_units[ended.place], "");
        console.ShowVerdict(unit, ended.exitCode);
        m_exitCode = WorseExitCode(m_exitCode, ended.exitCode);
    }

    const Options& m_options;
    const Plan& m_plan;
    const std::atomic<bool>& m_stop;
    Console m_console;
    std::unique_ptr<Records> m_records;
    std::unique_ptr<BackgroundForwarder> m_forwarder;
    std::vector<std::string> m_units;   ///< under test, by place
    std::optional<std::size_t> m_next;  ///< place of the next unit: the one that was shown, whatever ends
    int m_exitCode = 0;                 ///< of all numbers so far
    Fixture m_fixture;                  ///< its units use what stands above
};

}  // namespace

int Line(const Options& options, const std::atomic<bool>& stop)
{
    const Plan plan = ReadPlan(options);
    return UnitLine(options, plan, stop).Run();
}

}  // namespace Station
