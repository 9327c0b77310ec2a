// send: one command by itself, which says nothing of a unit.
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"
#include "apps/station/commands/SentCommand.h"

namespace Station {

int Send(const Options& options, const std::atomic<bool>& stop)
{
    const auto command = std::make_shared<SentCommand>(ParseCommand(options.command), ParseData(options.data));
    Console wholeConsole(stop, options.ports);
    Console::View& console = wholeConsole.At(0);
    wholeConsole.ShowFrames(options.showsFrames);
    Plan plan;
    options.ReplaceLine(plan);
    SerialPort port(options.ports[0], plan.line);
    Link link(port, plan.boardType, stop);
    const std::string name = CommandName(*command->Code());
    link.OnWait([&](Seconds waited, Seconds limit) { console.OnWait(name, waited, limit); });

    UnitState state;
    Transcript transcript;
    transcript.OnEntry([&console](const Traffic& entry) { console.OnTraffic(entry); });
    const std::map<std::string, std::string> environment;
    const std::optional<Seconds> timeout = options.timeout ? std::optional(Seconds(*options.timeout)) : std::nullopt;
    Bench bench = {link, console, state, transcript, environment, options.retries.value_or(1), timeout};
    const Seconds start = link.Elapsed();
    const Finding finding = command->CarryOut(bench);
    CheckRecord record;
    record.name = name;
    record.result = finding.result;
    record.message = finding.message;
    record.duration = link.Elapsed() - start;
    console.OnJudged({}, record);
    WriteOut("");  // throws when standard output did not take what the console wrote
    if (finding.result == Result::Aborted) {
        return COULD_NOT_RUN;
    }
    return finding.result == Result::Pass ? 0 : 1;
}

}  // namespace Station
