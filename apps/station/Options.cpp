// What a person types.
#include "apps/station/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <system_error>

#include <sys/stat.h>

#include "apps/station/records/Time.h"

namespace Station {

namespace {

constexpr int WRONG = 2;
constexpr const char* FOOTER =
    "Start with:  station plan > my-plan.toml   and give it the host to ping and the interface\n"
    "             station plan my-plan.toml\n"
    "             station run --port /dev/ttyUSB0 --plan my-plan.toml --unit SN-0001\n"
    "Exit codes: 0 this unit may be shipped, 1 a check failed, 2 it could not run or be recorded,\n"
    "            3 nothing failed, but it is no PASS: a check was left out or not carried out";

/// NAME=VALUE
void AddSetting(Overrides& settings, const std::string& word)
{
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw CLI::ValidationError("--set", word + ": expected NAME=VALUE");
    }
    settings[word.substr(0, equals)] = word.substr(equals + 1);
}

void DefinePlan(CLI::App& app, Options& options)
{
    app.add_option_function<std::vector<std::string>>(
           "--set",
           [&options](const std::vector<std::string>& words) {
               std::for_each(words.begin(), words.end(), [&](const auto& word) { AddSetting(options.settings, word); });
           },
           "A setting of the plan; may be given several times")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->expected(1);
}

void DefineLine(CLI::App& app, Options& options)
{
    app.add_option("--baud", options.speed, "Speed in bit/s, instead of the plan's")
        ->check(CLI::IsMember({9600, 19200, 38400, 57600, 115200}))
        ->type_name("N");
    app.add_option("--data-bits", options.dataBits, "5 to 8")->check(CLI::Range(5, 8))->type_name("N");
    app.add_option("--stop-bits", options.stopBits, "1 or 2")->check(CLI::Range(1, 2))->type_name("N");
    app.add_option("--parity", options.parity, "none, odd or even")
        ->check(CLI::IsMember({"none", "odd", "even"}))
        ->type_name("WORD");
    app.add_option("--flow-control", options.flowControl, "none or hardware")
        ->check(CLI::IsMember({"none", "hardware"}))
        ->type_name("WORD");
    app.add_option("--board-type", options.boardType, "Board type of the frames: boards accept 1, 3 and 5")
        ->check(CLI::Range(0, 255))
        ->type_name("N");
    app.add_option("--retries", options.retries, "Repetitions after no answer, an error frame or a damaged reply")
        ->check(CLI::Range(0, 100))
        ->type_name("N");
    app.add_option("--timeout", options.timeout, "Seconds to wait for a reply that needs no person")
        ->check(CLI::Range(0.001, 86400.0))
        ->type_name("S");
    app.add_flag("--hex", options.showsFrames, "Show every frame: > sent, < received");
}

void DefineRecords(CLI::App& app, Options& options)
{
    app.add_option("--records", options.recordsUrl,
                   "sqlite:PATH, postgresql://HOST/DATABASE or none: no PASS without (or TESTMODE_RECORDS)")
        ->type_name("URL");
}

void DefineUnits(CLI::App& app, Options& options)
{
    app.add_option("--plan", options.plan, "The plan's file (default: the built-in plan)")->type_name("FILE");
    app.add_option("--operator", options.people, "Who tests, for the record")->type_name("NAME");
    DefinePlan(app, options);
    DefineRecords(app, options);
    app.add_option("--record-dir", options.recordFolder,
                   "Write each run's record to this folder, as JSON and JUnit XML")
        ->type_name("DIR");
}

void DefineRun(CLI::App& run, Options& options)
{
    const auto names = [&run](const char* name, std::vector<std::string>& list, const char* text) {
        run.add_option(name, list, text)->type_name("NAME")->take_all()->expected(1);
    };
    run.add_option("--unit", options.units, "Serial number of the unit; of several in the order of their ports")
        ->type_name("SN")
        ->take_all()
        ->expected(1);
    names("--only", options.only, "Carry out this check alone, or these: no PASS of the unit");
    names("--skip", options.skip, "Leave this check out, or these: no PASS of the unit");
    run.add_option("--repeat", options.repeat, "Run the plan so often (burn-in)")
        ->check(CLI::Range(1, 1000000))
        ->type_name("N");
    run.add_flag("--keep-going", options.keepsGoing, "With --repeat: go on after a run that did not pass");
    run.add_option("--json", options.json, "Write the record, with every frame, to this file")->type_name("FILE");
    run.add_option("--junit", options.junit, "Write the results as JUnit XML to this file")->type_name("FILE");
    run.add_flag("--overwrite", options.mayOverwrite, "Let --json and --junit replace another run's file");
}

void DefineServe(CLI::App& serve, Options& options)
{
    serve
        .add_option_function<std::string>(
            "--listen",
            [&options](const std::string& word) {
                try {
                    options.listen = ParseListenAddress(word);
                } catch (const std::invalid_argument& error) {
                    throw CLI::ValidationError("--listen", error.what());
                }
            },
            "Where the page is served (default: 127.0.0.1:8080)")
        ->type_name("ADDRESS:PORT");
    serve
        .add_option_function<std::vector<std::string>>(
            "--origin",
            [&options](const std::vector<std::string>& words) {
                try {
                    std::transform(words.begin(), words.end(), std::back_inserter(options.origins), ParseOrigin);
                } catch (const std::invalid_argument& error) {
                    throw CLI::ValidationError("--origin", error.what());
                }
            },
            "A further address that browsers know the page by, as behind a reverse proxy")
        ->type_name("URL")
        ->take_all()
        ->expected(1);
}

/// A time, given as a person types it.
CLI::Option* DefineTime(CLI::App& app, const char* name, std::optional<std::chrono::system_clock::time_point>& time,
                        const char* text)
{
    return app
        .add_option_function<std::string>(
            name,
            [name, &time](const std::string& word) {
                try {
                    time = ParseTime(word, std::chrono::system_clock::now());
                } catch (const std::invalid_argument& error) {
                    throw CLI::ValidationError(name, error.what());
                }
            },
            text)
        ->type_name("TIME");
}

void DefineAnswer(CLI::App& app, Question& question)
{
    CLI::Option* const csv = app.add_flag("--csv", question.isCsv, "Answer as CSV, for a spreadsheet");
    app.add_flag("--json", question.isJson, "Answer as JSON, for a program")->excludes(csv);
}

void DefineHistory(CLI::App& history, Question& question)
{
    history.add_option("--unit", question.unit, "The runs of this unit alone")->type_name("SN");
    DefineTime(history, "--since", question.since,
               "The runs that started then or later: 2026-11-23, 2026-11-23T14:00, 90m, 12h, 7d");
    history.add_flag("--failed", question.isFailed, "The runs with the verdict FAIL alone");
    CLI::Option* const limit =
        history.add_option("--limit", question.most, "At most so many runs, the newest (default: 50)")
            ->check(CLI::Range(1, 1000000000))
            ->type_name("N");
    history.add_flag("--all", question.isAll, "As many as there are")->excludes(limit);
    DefineAnswer(history, question);
}

void DefineShow(CLI::App& show, Question& question)
{
    show.add_option("RUN", question.run, "The run's UUID, or enough of its beginning")
        ->required()
        ->check([](const std::string& word) {
            const bool isId = !word.empty() && word.find_first_not_of("0123456789abcdef-") == std::string::npos;
            return isId ? "" : word + ": expected a UUID, or its beginning";
        });
    show.add_flag("--frames", question.showsFrames, "Show every frame: > sent, < received");
    DefineAnswer(show, question);
}

void DefineYield(CLI::App& yield, Question& question)
{
    DefineTime(yield, "--since", question.since, "From the runs that started then or later, as with history");
    yield
        .add_option_function<std::string>(
            "--by", [&question](const std::string& word) { question.by = Groupings().at(word); },
            "Also for each plan, day, station or check")
        ->check(CLI::IsMember({"plan", "day", "station", "check"}))
        ->type_name("WORD");
    DefineAnswer(yield, question);
}

/// The subcommands for what the records hold.
void DefineQuestions(CLI::App& app, Options& options)
{
    const auto define = [&](const char* name, const char* text) {
        CLI::App* const subcommand = app.add_subcommand(name, text);
        DefineRecords(*subcommand, options);
        return subcommand;
    };
    DefineHistory(*define("history", "List earlier runs, the newest first"), options.question);
    DefineShow(*define("show", "Show one run of the records"), options.question);
    DefineYield(*define("yield", "Tell how many units pass, what they fail for, and how values are spread"),
                options.question);
    define("backup", "Copy the records, also while units are tested")
        ->add_option("FILE", options.question.file, "Where to; it must not be there yet")
        ->required();
    CLI::App* const prune = define("prune", "Remove what went over the line in old runs, to save room");
    prune->add_flag("--frames", "What is to be removed: the frames")->required();
    DefineTime(*prune, "--before", options.question.before, "Of the runs that started earlier than this")->required();
}

void Define(CLI::App& app, Options& options)
{
    app.name("station");
    app.set_version_flag("--version", STATION_VERSION);
    app.footer(FOOTER);
    app.require_subcommand(1);
    app.fallthrough();
    app.get_formatter()->column_width(28);
    app.add_option("--port", options.ports, "Serial port of a board; several for several boards at once")
        ->type_name("DEVICE")
        ->take_all()
        ->expected(1)
        ->allow_extra_args(false);
    DefineLine(app, options);

    CLI::App* const plan = app.add_subcommand("plan", "Print the built-in plan, or check a plan and list its checks");
    plan->add_option("FILE", options.plan, "A plan's file");
    DefinePlan(*plan, options);
    CLI::App* const run = app.add_subcommand("run", "Test a unit as the plan says");
    DefineUnits(*run, options);
    DefineRun(*run, options);
    DefineUnits(*app.add_subcommand("line", "Test unit after unit, as their serial numbers are scanned"), options);
    CLI::App* const serve = app.add_subcommand("serve", "The same, on a page in the browser");
    DefineUnits(*serve, options);
    DefineServe(*serve, options);
    CLI::App* const send = app.add_subcommand("send", "Send one command and show the reply");
    send->add_option("COMMAND", options.command, "Name, with or without CMD_, or number")->required();
    send->add_option("DATA", options.data,
                     "Up to 26 bytes: numbers 0 to 255 (also 0x..), any other word and text:... as characters");
    CLI::App* const forward = app.add_subcommand("forward", "Send the runs that wait to the shared database");
    DefineRecords(*forward, options);
    forward->add_flag("--all", options.forwardsAll, "Look for every run there: for a database that has lost some");
    DefineQuestions(app, options);
}

/// However it is spelled.
std::filesystem::path FileOf(const std::string& path)
{
    std::error_code error;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
}

/// However it is named: a link below /dev/serial/by-id is the port that it points to.
bool IsSamePort(const std::string& one, const std::string& other)
{
    struct stat first {};
    struct stat second {};
    const bool areDevices = stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
                            S_ISCHR(first.st_mode) && S_ISCHR(second.st_mode);
    return areDevices ? first.st_rdev == second.st_rdev : FileOf(one) == FileOf(other);
}

void CheckPorts(const Options& options)
{
    for (auto port = options.ports.begin(); port != options.ports.end(); ++port) {
        const auto same =
            std::find_if(options.ports.begin(), port, [&](const auto& other) { return IsSamePort(other, *port); });
        if (same != port) {
            throw CLI::ValidationError("--port", *port + " and " + *same + " are the same port");
        }
    }
    const std::string count = std::to_string(options.ports.size());
    if (options.ports.size() > 1 && options.action == Options::Action::Send) {
        throw CLI::ValidationError("--port", "a command is sent to one port, not " + count);
    }
    if (!options.units.empty() && options.units.size() != options.ports.size()) {
        throw CLI::ValidationError("--unit", std::to_string(options.units.size()) + " units for " + count +
                                                 " ports: give one for each, in the same order");
    }
    if (options.ports.size() > 1 && (!options.json.empty() || !options.junit.empty())) {
        throw CLI::ValidationError("--port", "a file holds one run: with several ports use --record-dir");
    }
}

Options::Action ActionOf(const CLI::App& app)
{
    using Action = Options::Action;
    static const std::map<std::string, Action> ACTIONS = {
        {"plan", Action::Plan},       {"run", Action::Run},         {"line", Action::Line},
        {"send", Action::Send},       {"serve", Action::Serve},     {"backup", Action::Backup},
        {"history", Action::History}, {"forward", Action::Forward}, {"prune", Action::Prune},
        {"show", Action::Show},       {"yield", Action::Yield}};
    return ACTIONS.at(app.get_subcommands().at(0)->get_name());
}

/// As typed, or else as a line sets it once for all.
std::string RecordsUrl(const Options& options)
{
    const char* const variable = std::getenv("TESTMODE_RECORDS");
    return options.recordsUrl.empty() && variable != nullptr ? variable : options.recordsUrl;
}

/// What single options cannot tell.
void CheckTogether(const CLI::App& app, Options& options)
{
    options.action = ActionOf(app);
    if (options.ports.empty() && (options.IsTesting() || options.action == Options::Action::Send)) {
        throw CLI::RequiredError("--port");
    }
    CheckPorts(options);
    try {
        const bool hasRecords = options.IsTesting() || options.IsAsking();
        options.records = hasRecords ? ParseLocation(RecordsUrl(options)) : Location();
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--records", error.what());
    }
    if (options.timeout && !(*options.timeout > 0)) {
        throw CLI::ValidationError("--timeout", "not a number");
    }
    if (options.listen.IsWildcard() && options.origins.empty()) {
        throw CLI::ValidationError("--listen", "the page has to know by which addresses it is reached: name each with "
                                               "--origin, or listen on one of them");
    }
    if (!options.json.empty() && !options.junit.empty() && FileOf(options.json) == FileOf(options.junit)) {
        throw CLI::ValidationError("--junit", "names the same file as --json");
    }
    if (options.repeat > 1 && (!options.json.empty() || !options.junit.empty())) {
        throw CLI::ValidationError("--repeat", "a file holds one run: use --record-dir");
    }
}

void AddOptions(const CLI::App& app, std::vector<std::string>& words)
{
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            words.push_back("--" + name);
        }
    }
}

/// Of the words that were typed the first one that is nothing known, with what may have been meant.
void Suggest(const CLI::App& app, const std::vector<std::string>& typed)
{
    std::vector<std::string> known;
    AddOptions(app, known);
    for (const CLI::App* const subcommand : app.get_subcommands([](const CLI::App*) { return true; })) {
        known.push_back(subcommand->get_name());
        AddOptions(*subcommand, known);
    }
    const bool hasSubcommand = !app.get_subcommands().empty();
    for (const std::string& word : typed) {
        const std::string name = word.substr(0, word.find('='));
        const bool isCandidate = name.rfind("--", 0) == 0 || (!hasSubcommand && name.rfind('-', 0) != 0);
        if (!isCandidate || std::find(known.begin(), known.end(), name) != known.end()) {
            continue;
        }
        if (const auto nearest = Nearest(name, known)) {
            std::cerr << "There is no " << name << ": did you mean " << *nearest << "?\n";
            return;
        }
    }
}

}  // namespace

void Options::ReplaceLine(Plan& replaced) const
{
    replaced.line.speed = speed.value_or(replaced.line.speed);
    replaced.line.dataBits = dataBits.value_or(replaced.line.dataBits);
    replaced.line.stopBits = stopBits.value_or(replaced.line.stopBits);
    replaced.line.parity = parity.value_or(replaced.line.parity);
    replaced.line.flowControl = flowControl.value_or(replaced.line.flowControl);
    replaced.boardType = static_cast<unsigned char>(boardType.value_or(replaced.boardType));
}

Options ParseOptions(int argc, char** argv)
{
    Options options;
    options.words.assign(argv + 1, argv + argc);
    CLI::App app{"Test station: tests boards in test mode over a serial line."};
    Define(app, options);
    try {
        app.parse(argc, argv);
        CheckTogether(app, options);
    } catch (const CLI::ParseError& error) {
        const bool isGood = app.exit(error) == 0;
        if (!isGood) {
            Suggest(app, options.words);
        }
        throw EndNow{isGood ? 0 : WRONG};
    }
    return options;
}

}  // namespace Station
