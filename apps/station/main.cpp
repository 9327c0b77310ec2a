// The test station's command-line program: options, signals and exit codes.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iomanip>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include "apps/station/BadFrames.h"
#include "apps/station/Console.h"
#include "apps/station/Plan.h"
#include "apps/station/Report.h"
#include "apps/station/Request.h"
#include "apps/station/Runner.h"

namespace {

using namespace Station;

constexpr int EXIT_COULD_NOT_RUN = 2;
constexpr const char* FOOTER = "Exit codes:\n"
                               "  0  every check passed or was skipped; send: the check passed\n"
                               "  1  a check failed; send: the check did not pass\n"
                               "  2  it could not run, or was interrupted: bad options, no port, file not writable";

std::atomic<bool> g_stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

struct Options {
    std::string port;
    LineSettings line;
    int boardType = 1;
    Policy policy;
    std::optional<double> timeout;
    bool hex = false;
    std::string command;
    std::vector<std::string> data;
    PlanSettings settings;
    std::string json;
    std::string junit;
    std::string unit;
};

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

/// The reports are UTF-8; what they quote must be as well.
std::string CheckUtf8(const std::string& text)
{
    try {
        nlohmann::json(text).dump();
        return {};
    } catch (const nlohmann::json::exception&) {
        return "the text is not UTF-8";
    }
}

/// A text that goes to the board: printable, and not longer than it takes.
CLI::Validator BoardText(std::size_t most)
{
    return {[most](const std::string& text) -> std::string {
                const bool good = !text.empty() && text.size() <= most &&
                                  std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
                return good ? "" : "must be 1 to " + std::to_string(most) + " printable ASCII characters";
            },
            ""};
}

std::string CheckAddress(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? "" : text + " is no IPv4 address";
}

void DefinePlan(CLI::App& run, PlanSettings& settings)
{
    run.add_option("--disk", settings.disk, "USB disk of the unit to mount")->check(CLI::Range(0, 2));
    run.add_option("--file", settings.file, "File on the unit to write and read back, at most 24 characters")
        ->check(BoardText(TEXT_LEN));
    run.add_option("--ping", settings.ping, "IPv4 address for the unit to ping")->check(CheckAddress);
    run.add_option("--interface", settings.interface, "Network interface of the unit that has an address")
        ->check(BoardText(15));
    constexpr int LEAST = 2 * TOUCH_MARGIN + TOUCH_IMAGE_SIZE;
    constexpr int MOST = std::numeric_limits<std::int16_t>::max();  // of a coordinate in the reply
    run.add_option_function<std::pair<int, int>>(
           "--screen",
           [&settings](const std::pair<int, int>& size) {
               settings.screen = {size.first, size.second};
           },
           "Size of the unit's screen in pixels: where the targets of the touch test are")
        ->type_name("WxH")
        ->delimiter('x')
        ->check(CLI::Range(LEAST, MOST))
        ->default_str(std::to_string(settings.screen.width) + 'x' + std::to_string(settings.screen.height));
    run.add_option("--tolerance", settings.tolerance, "Pixels from the middle of a target to where it is touched")
        ->check(CLI::Range(0, 1000));
    run.add_option("--view", settings.view, "Seconds that each picture is shown on the display, to be looked at")
        ->check(CLI::Range(0.0, 3600.0));
}

void DefineOptions(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", STATION_VERSION);
    app.footer(FOOTER);
    app.require_subcommand(1);
    app.fallthrough();
    app.option_defaults()->always_capture_default();
    app.add_option("--port", options.port, "Serial port that the board is connected to")->check(CheckUtf8);
    app.add_option("--baud", options.line.baud, "Speed in bit/s")
        ->check(CLI::IsMember({9600, 19200, 38400, 57600, 115200}));
    app.add_option("--data-bits", options.line.dataBits, "Data bits")->check(CLI::Range(5, 8));
    app.add_option("--stop-bits", options.line.stopBits, "Stop bits")->check(CLI::Range(1, 2));
    app.add_option("--parity", options.line.parity, "Parity")->check(CLI::IsMember({"none", "odd", "even"}));
    app.add_option("--flow-control", options.line.flowControl, "Flow control")
        ->check(CLI::IsMember({"none", "hardware"}));
    app.add_option("--board-type", options.boardType, "Board type of the frames; boards accept 1, 3 and 5")
        ->check(CLI::Range(0, 255));
    app.add_option("--retries", options.policy.retries,
                   "Repetitions after no answer, an error frame or a damaged reply")
        ->check(CLI::Range(0, 100));
    app.add_option("--timeout", options.timeout, "Seconds to wait for each reply, instead of each command's own")
        ->check(CLI::Range(0.001, 86400.0));
    app.add_flag("--hex", options.hex, "Show every frame: > sent, < received");

    app.add_subcommand("list", "List the checks");
    CLI::App* send = app.add_subcommand("send", "Send one command and show the reply in words");
    send->add_option("COMMAND", options.command, "Name, with or without CMD_, or number")->required();
    send->add_option("DATA", options.data,
                     "Up to 26 bytes: numbers 0 to 255 (also 0x..), any other word and text:... as characters");
    CLI::App* run = app.add_subcommand("run", "Carry out every check");
    DefinePlan(*run, options.settings);
    run->add_option("--json", options.json, "Write the record, with every frame, to this file");
    run->add_option("--junit", options.junit, "Write the results as JUnit XML to this file");
    run->add_option("--unit", options.unit, "Serial number of the unit, for the records")->check(CheckUtf8);
    app.add_subcommand("bad-frames", "Send bad frames and check that each is answered with the error frame");
}

/// What single options cannot tell.
void CheckOptions(const CLI::App& app, const Options& options)
{
    if (options.port.empty() && !app.got_subcommand("list")) {
        throw CLI::RequiredError("--port");
    }
    if (options.timeout && !(*options.timeout > 0)) {
        throw CLI::ValidationError("--timeout", "not a number");
    }
    if (!options.json.empty() && options.json == options.junit) {
        throw CLI::ValidationError("--junit", "names the same file as --json");
    }
}

int ExitCode(Result result)
{
    switch (result) {
    case Result::Aborted:
        return EXIT_COULD_NOT_RUN;
    case Result::Fail:
        return EXIT_FAILURE;
    default:
        return EXIT_SUCCESS;
    }
}

int List()
{
    for (const Check& check : MakePlan({})) {
        std::cout << std::setw(3) << +check.code << "  " << std::left << std::setw(27) << check.name << std::right
                  << "  " << check.description << '\n';
    }
    return EXIT_SUCCESS;
}

/// Opens the port, carries the plan out and prints a line per step, and a summary if there are several.
RunRecord Execute(const Options& options, Console& console, const std::function<std::vector<Step>(Link&)>& plan)
{
    RunRecord run;
    run.unit = options.unit;
    run.port = options.port;
    run.line = options.line;
    run.boardType = static_cast<unsigned char>(options.boardType);
    run.start = run.end = std::chrono::system_clock::now();
    try {
        SerialPort port(options.port, options.line);
        Link link(port, run.boardType, g_stop);
        link.OnWait(
            [&](Seconds waited, Seconds limit) { console.ShowProgress(run.checks.back().name, waited, limit); });
        if (options.hex) {
            link.OnTraffic([&console](const Traffic& entry) { console.Print(TrafficLine(entry)); });
        }
        RunSteps(link, plan(link), run, [&console](const CheckRecord& check) { console.Print(ResultLine(check)); });
        if (run.planned > 1) {
            console.Print(SummaryLine(run));
        }
    } catch (const PortError& error) {
        run.abortReason = error.what();
    }
    if (!run.abortReason.empty()) {
        console.Complain(run.abortReason);
    }
    return run;
}

/// Tells the person at the unit what to do, before the check that needs it.
RunRecord ExecuteChecks(const Options& options, Console& console, const std::vector<Check>& plan)
{
    const auto ask = [&console](const Check& check) {
        if (const char* const task = CommandTask(check.code)) {
            console.Ask(task);
        }
    };
    return Execute(options, console, [&](Link& link) { return PlanChecks(link, options.policy, plan, ask); });
}

int Send(const Options& options, Console& console)
{
    const std::vector<Check> plan = {PlainCheck(ParseCommand(options.command), ParseData(options.data))};
    const RunRecord run = ExecuteChecks(options, console, plan);
    const bool skipped = !run.checks.empty() && run.checks.front().result == Result::Skip;
    return ExitCode(skipped ? Result::Fail : Overall(run));
}

bool WriteReport(const ReportFile& file, const std::string& content, Console& console)
{
    try {
        file.Write(content);
        return true;
    } catch (const std::exception& error) {
        console.Complain(error.what());
        return false;
    }
}

int Run(const Options& options, Console& console)
{
    const ReportFile json(options.json);
    const ReportFile junit(options.junit);
    const std::vector<Check> plan = MakePlan(options.settings);
    const RunRecord run = ExecuteChecks(options, console, plan);
    const bool jsonWritten = WriteReport(json, ToJson(run), console);
    const bool junitWritten = WriteReport(junit, ToJUnit(run), console);
    return ExitCode(jsonWritten && junitWritten ? Overall(run) : Result::Aborted);
}

int Dispatch(const CLI::App& app, const Options& options, Console& console)
{
    if (app.got_subcommand("list")) {
        return List();
    }
    if (app.got_subcommand("send")) {
        return Send(options, console);
    }
    if (app.got_subcommand("run")) {
        return Run(options, console);
    }
    return ExitCode(
        Overall(Execute(options, console, [&](Link& link) { return PlanBadFrames(link, options.policy); })));
}

int Start(int argc, char** argv)
{
    Options options;
    CLI::App app{"Test station: drives a board in test mode over a serial line."};
    app.name("station");
    DefineOptions(app, options);
    try {
        app.parse(argc, argv);
        CheckOptions(app, options);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == EXIT_SUCCESS ? EXIT_SUCCESS : EXIT_COULD_NOT_RUN;
    }
    if (options.timeout) {
        options.policy.timeout = Seconds{*options.timeout};
    }
    CatchSignals();
    Console console;
    return Dispatch(app, options, console);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        FillStandardStreams();
        return Start(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "station: " << error.what() << '\n';
        return EXIT_COULD_NOT_RUN;
    }
}
