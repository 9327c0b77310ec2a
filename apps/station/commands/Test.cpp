// run: a plan carried out on units, one a port, once or again and again.
#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Unit.h"
#include "apps/station/run/Fixture.h"

namespace Station {

namespace {

/// The names that --only and --skip take have to be names of the plan.
void CheckNames(const std::vector<std::string>& chosen, const Plan& plan)
{
    std::vector<std::string> names;
    std::transform(plan.entries.begin(), plan.entries.end(), std::back_inserter(names),
                   [](const Entry& entry) { return entry.name; });
    for (const std::string& name : chosen) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            const auto nearest = Nearest(name, names);
            throw std::runtime_error("the plan has no check '" + name + "'" +
                                     (nearest ? ", did you mean '" + *nearest + "'?" : ""));
        }
    }
}

/// One for each port; without any, units that have no number.
std::vector<std::string> SerialNumbers(const Options& options, const Plan& plan)
{
    std::vector<std::string> units;
    std::set<std::string> known;
    for (std::size_t i = 0; i < options.ports.size(); ++i) {
        units.push_back(SerialNumber(options.units.empty() ? "" : options.units[i], plan));
        if (!units.back().empty() && !known.insert(units.back()).second) {
            throw std::runtime_error("--unit " + units.back() + " is named for two ports");
        }
    }
    return units;
}

/// On the thread of its port.
int TestAgainAndAgain(const Options& options, Console::View& console, const std::atomic<bool>& stop,
                      const std::function<int()>& test)
{
    int exitCode = 0;
    int passed = 0;
    int done = 0;
    while (done < options.repeat && !stop && (exitCode == 0 || options.keepsGoing)) {
        const int code = test();
        exitCode = WorseExitCode(exitCode, code);
        passed += code == 0 ? 1 : 0;
        ++done;
    }
    if (stop && exitCode == 0) {  // between two runs, or before the first
        console.Complain("interrupted");
        exitCode = COULD_NOT_RUN;
    }
    if (options.repeat > 1) {
        console.Print(std::to_string(passed) + " of " + std::to_string(done) + " runs passed, " +
                      std::to_string(options.repeat) + " were asked for");
    }
    return exitCode;
}

}  // namespace

int Test(const Options& options, const std::atomic<bool>& stop)
{
    const Plan plan = ReadPlan(options);
    CheckNames(options.only, plan);
    CheckNames(options.skip, plan);
    const std::vector<std::string> units = SerialNumbers(options, plan);
    Console console(stop, options.ports);
    console.ShowFrames(options.showsFrames);

    const std::unique_ptr<Records> records = OpenRecords(options, console);
    const auto forwarder = StartForwarding(options, records.get(), console, stop);
    const Bay bay = {options, plan, records.get(), stop};
    Fixture fixture(options.ports.size(), [&console] { console.Wake(); });
    for (std::size_t i = 0; i < options.ports.size(); ++i) {
        fixture.Start(i, [&, i] {
            return TestAgainAndAgain(options, console.At(i), stop,
                                     [&, i] { return TestUnit(bay, options.ports[i], units[i], console.At(i)); });
        });
    }
    int exitCode = 0;
    while (!fixture.IsIdle()) {
        console.Await();
        while (const auto ended = fixture.TakeEnded()) {
            if (!ended->problem.empty()) {
                console.At(ended->place).Complain(ended->problem);
            }
            exitCode = WorseExitCode(exitCode, ended->exitCode);
        }
    }
    return exitCode;
}

}  // namespace Station
