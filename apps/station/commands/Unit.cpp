// One unit on one port: what the subcommands that test units have in common.
#include "apps/station/commands/Unit.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "apps/station/commands/Commands.h"
#include "apps/station/report/JUnit.h"
#include "apps/station/report/Json.h"
#include "apps/station/report/ReportFile.h"
#include "apps/station/report/Text.h"
#include "apps/station/run/Runner.h"

namespace Station {

namespace {

RunOptions MakeRunOptions(const Options& options, const std::string& port, const std::string& unit)
{
    RunOptions run;
    run.unit = unit;
    run.port = port;
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

/// Milliseconds that no other run of this program has: two that begin at once have files of their own.
std::chrono::milliseconds TakeTime()
{
    static std::atomic<std::chrono::milliseconds::rep> last{0};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto wanted = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    auto before = last.load();
    while (!last.compare_exchange_weak(before, std::max(wanted, before + 1))) {
    }
    return std::chrono::milliseconds(std::max(wanted, before + 1));
}

/// Of the files of one run, without their ending: named by unit and time, "A-17_2026-11-23T10.30.05.123Z". What no file
/// name should have becomes %2F and the like; a unit without a number has its port's name.
std::string RecordPath(const std::string& folder, const std::string& port, const std::string& unit)
{
    std::string name;
    for (const char character : unit.empty() ? std::filesystem::path(port).filename().string() : unit) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = std::isalnum(byte) != 0 || (character == '.' && !name.empty()) || character == '-' ||
                             character == '_' || byte >= 0x80;
        name += isPlain ? std::string(1, character) : '%' + Hex({byte});
    }
    constexpr std::size_t MOST = 128;  // bytes; a file's name has 255
    name.resize(std::min(name.size(), MOST));
    std::filesystem::create_directories(folder);
    std::string time = UtcTimestamp(std::chrono::system_clock::time_point(TakeTime()));
    std::replace(time.begin(), time.end(), ':', '.');
    return folder + '/' + name + '_' + time;
}

/// The records of a run and its files. These are written before the verdict is kept, and get their names when it is: a
/// unit that has passed in the records has its files.
class FileSink : public RecordSink {
public:
    FileSink(RecordSink& records, ReportFile& json, ReportFile& junit)
        : m_records(records), m_json(json), m_junit(junit)
    {
    }

    [[nodiscard]] bool IsKeeping() const override { return m_records.IsKeeping(); }
    void OnBegin(const RunRecord& run) override { m_records.OnBegin(run); }
    void OnJudged(const RunRecord& run, const CheckRecord& check) override { m_records.OnJudged(run, check); }
    void OnVerdict(const RunRecord& run) override { m_records.OnVerdict(run); }
    void OnEnd(const RunRecord& run) override
    {
        Prepare(run);
        const bool isBad = run.verdict == Verdict::Fail || run.verdict == Verdict::CouldNotRun;
        if (!isBad && !m_problem.empty()) {
            throw RecordError(m_problem);  // the runner comes back with another verdict
        }
        m_records.OnEnd(run);
    }

    /// Once, when the run has ended, kept or not. Returns why a file is not there.
    std::string Publish(const RunRecord& run)
    {
        if (!m_isPrepared) {
            Prepare(run);
        }
        Try([this] { m_json.Publish(); });
        Try([this] { m_junit.Publish(); });
        return m_problem;
    }

private:
    void Prepare(const RunRecord& run)
    {
        m_isPrepared = true;
        Try([&] { m_json.Prepare(ToJson(run)); });
        Try([&] { m_junit.Prepare(ToJUnit(run)); });
    }
    void Try(const std::function<void()>& write)
    {
        try {
            write();
        } catch (const std::exception& error) {
            m_problem = error.what();
        }
    }

    RecordSink& m_records;
    ReportFile& m_json;
    ReportFile& m_junit;
    bool m_isPrepared = false;
    std::string m_problem;
};

}  // namespace

Plan ReadPlan(const Options& options)
{
    Plan plan = ReadPlan(options.plan, options.settings);
    options.ReplaceLine(plan);
    return plan;
}

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

std::unique_ptr<BackgroundForwarder> StartForwarding(const Options& options, Records* records, Console& console,
                                                     const std::atomic<bool>& stop)
{
    if (records == nullptr || options.records.server.empty()) {
        return nullptr;
    }
    return std::make_unique<BackgroundForwarder>(options.records, *records, stop,
                                                 [&console](const std::string& message) { console.Complain(message); });
}

int TestUnit(const Bay& bay, const std::string& port, const std::string& unit, Viewer& viewer)
{
    const Options& options = bay.options;
    const std::string path = options.recordFolder.empty() ? "" : RecordPath(options.recordFolder, port, unit);
    ReportFile json(path.empty() ? options.json : path + ".json", options.mayOverwrite);
    ReportFile junit(path.empty() ? options.junit : path + ".xml", options.mayOverwrite);
    RunOptions runOptions = MakeRunOptions(options, port, unit);
    runOptions.suspicion = bay.records != nullptr ? bay.records->Suspicion(port) : "";
    const auto records = bay.records != nullptr ? bay.records->NewSink() : std::make_unique<RecordSink>();
    FileSink sink(*records, json, junit);
    const RunRecord run = Runner(bay.plan, runOptions, viewer, {sink, viewer}, bay.stop).Run();
    const std::string problem = sink.Publish(run);
    if (!problem.empty()) {
        viewer.Complain(problem + ": without its record the run does not count");
        return COULD_NOT_RUN;
    }
    return ExitCode(run.verdict);
}

}  // namespace Station
