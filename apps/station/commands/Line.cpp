// line: unit after unit as their serial numbers are scanned at the terminal, on all ports at once.
#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/commands/UnitLine.h"

namespace Station {

namespace {

std::string Prompt(const std::optional<std::size_t>& next, Console& console)
{
    return next ? "Serial number for port " + console.At(*next).Name() + ": " : "All ports are taken: ";
}

}  // namespace

/// Until the end of input or the stop flag, and the end of the units in progress.
int Line(const Options& options, const std::atomic<bool>& stop)
{
    const Plan plan = ReadPlan(options);
    Console console(stop, options.ports);
    console.ShowFrames(options.showsFrames);
    const std::unique_ptr<Records> records = OpenRecords(options, console);
    const auto forwarder = StartForwarding(options, records.get(), console, stop);
    UnitLine line(options, plan, records.get(), console.Viewers(), [&console] { console.Wake(); });
    int refused = 0;
    const auto take = [&](const std::string& scanned) {
        try {
            line.Begin(scanned);
        } catch (const std::exception& error) {
            console.Complain(error.what());
            refused = COULD_NOT_RUN;
        }
    };

    console.ReadLines();
    bool isOver = false;
    while (!isOver || !line.IsIdle()) {
        console.SetPrompt(isOver ? "" : Prompt(line.Next(), console));
        const Console::Typed typed = console.Await();
        if (stop) {
            line.StopAll();
        }
        isOver = isOver || stop;
        for (const std::string& text : typed.lines) {
            if (!isOver && !IsBlank(text)) {
                take(text);
            }
        }
        isOver = isOver || typed.isOver;
        line.TakeEnded();
    }
    return WorseExitCode(line.WorstExitCode(), refused);
}

}  // namespace Station
