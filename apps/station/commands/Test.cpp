// run: a plan carried out on a unit, once or again and again.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/records/Records.h"
#include "apps/station/report/JUnit.h"
#include "apps/station/report/Json.h"
#include "apps/station/report/ReportFile.h"
#include "apps/station/run/Runner.h"

namespace Station {

namespace {

RunOptions MakeRunOptions(const Options& options)
{
    RunOptions run;
    run.unit = options.unit;
    run.port = options.port;
    run.people = options.people;
    run.station = STATION_VERSION;
    run.words = options.words;
    run.only = options.only;
    run.skip = options.skip;
    run.retries = options.retries;
    if (options.timeout) {
        run.timeout = Seconds(*options.timeout);
    }
    return run;
}

/// Blanks and line ends around a scanned number do not belong to it. What is left has to be what the plan asks for.
std::string SerialNumber(const std::string& scanned, const Plan& plan)
{
    constexpr std::size_t MOST = 256;  // matching a regular expression takes stack for each byte
    constexpr const char* BLANKS = " \t\r\n\v\f";
    const std::size_t first = scanned.find_first_not_of(BLANKS);
    std::string unit =
        first == std::string::npos ? "" : scanned.substr(first, scanned.find_last_not_of(BLANKS) - first + 1);
    if (unit.size() > MOST) {
        throw std::runtime_error("a serial number has at most " + std::to_string(MOST) + " bytes, not " +
                                 std::to_string(unit.size()));
    }
    if (plan.serialNumber && unit.empty()) {
        throw std::runtime_error("the plan asks for the unit's serial number: give it with --unit");
    }
    if (plan.serialNumber && !std::regex_match(unit, *plan.serialNumber)) {
        throw std::runtime_error("'" + unit + "' is no serial number of this plan, which asks for " +
                                 plan.serialPattern);
    }
    try {
        nlohmann::json(unit).dump();
    } catch (const nlohmann::json::exception&) {
        throw std::runtime_error("the serial number is not UTF-8");
    }
    return unit;
}

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

int RunOnce(const Options& options, const Plan& plan, const RunOptions& runOptions, RecordSink& records,
            Console& console, const std::atomic<bool>& stop)
{
    ReportFile json(options.json, options.mayOverwrite);
    ReportFile junit(options.junit, options.mayOverwrite);
    const RunRecord run = Runner(plan, runOptions, console, {records, console}, stop).Run();
    bool isWritten = true;
    for (const auto& [file, content] : {std::pair{&json, ToJson(run)}, {&junit, ToJUnit(run)}}) {
        try {
            file->Write(content);
        } catch (const std::exception& error) {
            console.Complain(error.what() + std::string(": without its record the run does not count"));
            isWritten = false;
        }
    }
    return isWritten ? ExitCode(run.verdict) : COULD_NOT_RUN;
}

/// The records of earlier runs, with what they say of them told; null for none.
std::unique_ptr<Records> OpenRecords(const Options& options, Console& console)
{
    if (options.records.file.empty()) {
        return nullptr;
    }
    auto records = std::make_unique<Records>(options.records.file);
    for (const RunRecord& run : records->CloseInterrupted()) {
        console.Complain("the run of " + (run.unit.empty() ? "a unit without a number" : "unit " + run.unit) + " on " +
                         run.port + " was interrupted, after " + std::to_string(run.checks.size()) + " of " +
                         std::to_string(run.planned) + " checks: it is no PASS");
    }
    return records;
}

}  // namespace

int Test(const Options& options, const std::atomic<bool>& stop)
{
    Plan plan = ReadPlan(options.plan, options.settings);
    options.ReplaceLine(plan);
    CheckNames(options.only, plan);
    CheckNames(options.skip, plan);
    RunOptions runOptions = MakeRunOptions(options);
    runOptions.unit = SerialNumber(options.unit, plan);
    Console console(stop);
    console.ShowFrames(options.showsFrames);

    const std::unique_ptr<Records> records = OpenRecords(options, console);
    const auto sink = records ? records->NewSink() : std::make_unique<RecordSink>();
    if (records) {
        runOptions.suspicion = records->Suspicion(options.port);
    }

    constexpr int WORSE[] = {0, 2, 3, 1};  // of the exit codes
    int exitCode = 0;
    int passed = 0;
    int done = 0;
    while (done < options.repeat && !stop && (exitCode == 0 || options.keepsGoing)) {
        const int code = RunOnce(options, plan, runOptions, *sink, console, stop);
        exitCode = WORSE[code] > WORSE[exitCode] ? code : exitCode;
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

}  // namespace Station
