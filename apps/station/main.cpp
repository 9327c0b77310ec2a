// The test station's program: what a person types becomes runs, records and exit codes.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "apps/station/Console.h"
#include "apps/station/Options.h"
#include "apps/station/Send.h"
#include "apps/station/report/JUnit.h"
#include "apps/station/report/Json.h"
#include "apps/station/report/ReportFile.h"
#include "apps/station/run/Runner.h"

namespace {

using namespace Station;

constexpr int COULD_NOT_RUN = 2;

std::atomic<bool> g_stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// Puts /dev/null where standard input, output or error is closed: the port would take its place, and what is printed
/// would go to the board.
void FillStandardStreams()
{
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
    close(fd);
}

/// Lets an interrupted run end in good order, with its records written.
void CatchSignals()
{
    struct sigaction stop = {};
    stop.sa_handler = [](int) { g_stop = true; };
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction previous = {};
        sigaction(number, nullptr, &previous);
        const bool keepIgnored = number == SIGHUP && previous.sa_handler == SIG_IGN;  // started by nohup
        if (!keepIgnored) {
            sigaction(number, &stop, nullptr);
        }
    }
    stop.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &stop, nullptr);  // a reader of our output that ends must not cost the record
}

/// Line settings and board type of the command line go before the plan's.
void ReplaceLine(const Options& options, Plan& plan)
{
    plan.line.speed = options.speed.value_or(plan.line.speed);
    plan.line.dataBits = options.dataBits.value_or(plan.line.dataBits);
    plan.line.stopBits = options.stopBits.value_or(plan.line.stopBits);
    plan.line.parity = options.parity.value_or(plan.line.parity);
    plan.line.flowControl = options.flowControl.value_or(plan.line.flowControl);
    plan.boardType = static_cast<unsigned char>(options.boardType.value_or(plan.boardType));
}

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

int ShowPlan(const Options& options)
{
    if (options.plan.empty() && options.settings.empty()) {
        std::cout << BuiltInPlan() << std::flush;
        if (!std::cout) {
            throw std::runtime_error("the plan cannot be written to standard output");
        }
        return 0;
    }
    const Plan plan = ReadPlan(options.plan, options.settings);
    std::cout << plan.name << (plan.version.empty() ? "" : ", version " + plan.version) << ": " << plan.entries.size()
              << " checks\n";
    for (const Entry& entry : plan.entries) {
        std::cout << "  " << std::left << std::setw(24) << entry.name << "  " << entry.check->Description()
                  << (entry.isOptional ? " (optional)" : "") << '\n';
        if (!entry.ask.empty()) {
            std::cout << std::string(28, ' ') << "Asks: " << entry.ask << '\n';
        }
    }
    for (const std::string& remark : Remarks(plan)) {
        std::cout << "Note: " << remark << '\n';
    }
    return 0;
}

int RunOnce(const Options& options, const Plan& plan, const RunOptions& runOptions, Console& console)
{
    ReportFile json(options.json, options.mayOverwrite);
    ReportFile junit(options.junit, options.mayOverwrite);
    const RunRecord run = Runner(plan, runOptions, console, console, g_stop).Run();
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

int Run(const Options& options)
{
    Plan plan = ReadPlan(options.plan, options.settings);
    ReplaceLine(options, plan);
    CheckNames(options.only, plan);
    CheckNames(options.skip, plan);
    RunOptions runOptions = MakeRunOptions(options);
    runOptions.unit = SerialNumber(options.unit, plan);
    Console console(g_stop);
    console.ShowFrames(options.showsFrames);

    constexpr int WORSE[] = {0, 2, 3, 1};  // of the exit codes
    int exitCode = 0;
    int passed = 0;
    int done = 0;
    while (done < options.repeat && !g_stop && (exitCode == 0 || options.keepsGoing)) {
        const int code = RunOnce(options, plan, runOptions, console);
        exitCode = WORSE[code] > WORSE[exitCode] ? code : exitCode;
        passed += code == 0 ? 1 : 0;
        ++done;
    }
    if (g_stop && exitCode == 0) {  // between two runs, or before the first
        console.Complain("interrupted");
        exitCode = COULD_NOT_RUN;
    }
    if (options.repeat > 1) {
        console.Print(std::to_string(passed) + " of " + std::to_string(done) + " runs passed, " +
                      std::to_string(options.repeat) + " were asked for");
    }
    return exitCode;
}

/// One command by itself, which says nothing of a unit.
int Send(const Options& options)
{
    const auto command = std::make_shared<SentCommand>(ParseCommand(options.command), ParseData(options.data));
    Console console(g_stop);
    console.ShowFrames(options.showsFrames);
    Plan plan;
    ReplaceLine(options, plan);
    SerialPort port(options.port, plan.line);
    Link link(port, plan.boardType, g_stop);
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
    if (finding.result == Result::Aborted) {
        return COULD_NOT_RUN;
    }
    return finding.result == Result::Pass ? 0 : 1;
}

int Start(int argc, char** argv)
{
    const Options options = ParseOptions(argc, argv);
    CatchSignals();
    switch (options.action) {
    case Options::Action::Plan:
        return ShowPlan(options);
    case Options::Action::Send:
        return Send(options);
    default:
        return Run(options);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        FillStandardStreams();
        return Start(argc, argv);
    } catch (const EndNow& end) {
        return end.exitCode;
    } catch (const PlanError& error) {
        std::cerr << error.what() << '\n';
        return COULD_NOT_RUN;
    } catch (const std::exception& error) {
        std::cerr << "station: " << error.what() << '\n';
        return COULD_NOT_RUN;
    }
}
