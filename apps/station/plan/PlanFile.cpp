// Reads a plan from TOML.
#include "apps/station/plan/PlanFile.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <tuple>

#include "apps/station/checks/Kinds.h"
#include "apps/station/plan/Sha256.h"
#include "apps/station/plan/TomlParameters.h"

namespace Station {

namespace {

std::string ReadFile(const std::string& path)
{
    constexpr std::size_t MOST = std::size_t{1024} * 1024;
    std::ifstream file(path, std::ios::binary);
    std::string text(MOST + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || !file.is_open()) {
        throw PlanError(path + ": cannot be read");
    }
    if (file) {
        throw PlanError(path + ": is no plan: larger than 1 MiB");
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

/// A table is made for each dot in a key, one inside the other, and unmaking them takes stack for each.
void RefuseDeepKeys(const std::string& text, const std::string& name)
{
    constexpr int MOST = 100;
    int line = 1;
    int dots = 0;
    for (const char letter : text) {
        dots = letter == '\n' ? 0 : dots + (letter == '.' ? 1 : 0);
        line += letter == '\n' ? 1 : 0;
        if (dots > MOST) {
            throw PlanError(name + ':' + std::to_string(line) + ":1: has more than " + std::to_string(MOST) +
                            " dots in a line");
        }
    }
}

toml::table Parse(const std::string& text, const std::string& name)
{
    RefuseDeepKeys(text, name);
    try {
        return toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        const auto& place = error.source().begin;
        throw PlanError(name + ':' + std::to_string(place.line) + ':' + std::to_string(place.column) + ": " +
                        Shown(std::string(error.description())));
    }
}

/// A setting of the command line: a number where it is one, else a text.
void Insert(toml::table& table, const std::string& name, const std::string& text)
{
    try {
        toml::table parsed = toml::parse("value = " + text);
        table.insert(name, std::move(*parsed.get("value")));
    } catch (const toml::parse_error&) {
        table.insert(name, text);
    }
}

/// Reads the tables of a plan, one after the other.
class PlanReader {
public:
    PlanReader(toml::table table, const Overrides& overrides) : m_table(std::move(table))
    {
        for (const auto& [name, text] : overrides) {
            Insert(m_overrides, name, text);
        }
    }

    Plan Read()
    {
        Plan plan;
        {
            TomlParameters top(m_context, m_table, "a plan");
            plan.name = top.RequiredText("name", ShortText);
            plan.version = top.Text("version", ShortText).value_or("");
            plan.boardType = static_cast<unsigned char>(top.Integer("board_type", 0, 255).value_or(1));
            plan.stopOnFail = top.Flag("stop_on_fail").value_or(false);
            plan.bootTimeout = Seconds(top.Parameters::Number("boot_timeout", 0, MOST_SECONDS).value_or(0));
            ReadSerialNumber(top, plan);
            ReadSettings(top);
            ReadLine(top, plan.line);
            plan.before = ReadOneProgram(top, "before");
            plan.after = ReadOneProgram(top, "after");
            for (const auto& table : top.Tables("check")) {
                ReadEntry(static_cast<TomlParameters&>(*table), plan);
            }
        }
        JudgeEntries(plan);
        return plan;
    }
    /// Where relative paths begin.
    void SetFolder(const std::string& folder) { m_context.folder = folder; }
    [[nodiscard]] const std::vector<Problem>& Problems() const { return m_context.problems; }

private:
    static void ReadSerialNumber(Parameters& top, Plan& plan)
    {
        const auto rule = [&plan](const std::string& pattern) -> std::string {
            constexpr std::size_t MOST = 1000;  // bytes; a regular expression takes stack for each of its brackets
            if (pattern.size() > MOST) {
                return "is longer than " + std::to_string(MOST) + " bytes";
            }
            try {
                plan.serialNumber.emplace(pattern);
                return "";
            } catch (const std::regex_error& error) {
                return std::string("is no regular expression: ") + error.what();
            }
        };
        plan.serialPattern = top.Text("serial_number", rule).value_or("");
    }

    void ReadSettings(TomlParameters& top)
    {
        m_context.settings = top.Table("settings");
        m_context.overrides = &m_overrides;
        if (m_context.settings != nullptr) {
            CheckSettings("setting", *m_context.settings);
        }
        CheckSettings("--set", m_overrides);
    }

    void CheckSettings(const std::string& what, const toml::table& table)
    {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            const auto& known = SettingNames();
            if (std::find(known.begin(), known.end(), name) == known.end()) {
                m_context.ReportUnknown(what, name, known, key.source());
            }
        }
    }

    void ReadLine(TomlParameters& top, LineSettings& line)
    {
        for (const auto& table : top.Tables("line")) {
            if (const auto speed = table->Integer("speed", 9600, 115200)) {
                constexpr std::array<int, 5> SPEEDS = {9600, 19200, 38400, 57600, 115200};
                line.speed = *speed;
                if (std::find(SPEEDS.begin(), SPEEDS.end(), *speed) == SPEEDS.end()) {
                    table->Report("speed", "expected 9600, 19200, 38400, 57600 or 115200");
                }
            }
            line.dataBits = table->Integer("data_bits", 5, 8).value_or(line.dataBits);
            line.stopBits = table->Integer("stop_bits", 1, 2).value_or(line.stopBits);
            line.parity = table->Text("parity", OneOf({"none", "odd", "even"})).value_or(line.parity);
            line.flowControl = table->Text("flow_control", OneOf({"none", "hardware"})).value_or(line.flowControl);
        }
    }

    static std::optional<Program> ReadOneProgram(Parameters& parameters, const std::string& key)
    {
        std::optional<Program> program;
        for (const auto& table : parameters.Tables(key)) {
            if (program) {
                table->Report("", "a second program is given, expected one");
            }
            program = ReadProgram(*table);
        }
        return program;
    }

    void ReadEntry(TomlParameters& parameters, Plan& plan)
    {
        Entry entry;
        entry.kind = parameters.RequiredText("kind", NotEmpty);
        const Kind* const kind = FindKind(entry.kind);
        if (kind == nullptr) {
            ReportUnknownKind(parameters, entry.kind);
            return;
        }
        parameters.SetOwner("a check of kind " + entry.kind);
        entry.name = parameters.Text("name", ShortText).value_or(entry.kind);
        entry.isOptional = parameters.Flag("optional").value_or(false);
        if (const auto timeout = parameters.Parameters::Number("timeout", LEAST_TIMEOUT, MOST_SECONDS)) {
            entry.timeout = Seconds(*timeout);
        }
        entry.retries = parameters.Integer("retries", 0, 100).value_or(1);
        entry.ask = parameters.Text("ask", NotEmpty).value_or("");
        entry.hint = parameters.Text("hint", NotEmpty).value_or("");
        entry.measure = ReadOneProgram(parameters, "measure");
        const auto pause = parameters.Parameters::Number("pause", 0, MOST_SECONDS);
        entry.check = kind->make(parameters);
        entry.pause = std::max(Seconds(pause.value_or(0)), entry.check->Pause());
        if (!m_names.insert(entry.name).second) {
            parameters.Report(parameters.Has("name") ? "name" : "",
                              "two checks are named '" + entry.name + "': give one another 'name'");
        }
        if (entry.check->ReadsOutputs() && !HasOutputs(plan)) {
            parameters.Report(
                "", "no check before it drives the outputs: put one of kind outputs in front, or give 'expect'");
        }
        plan.entries.push_back(std::move(entry));
    }

    static void ReportUnknownKind(TomlParameters& parameters, const std::string& name)
    {
        std::vector<std::string> names;
        for (const Kind& kind : Kinds()) {
            names.emplace_back(kind.name);
        }
        const auto nearest = Nearest(name, names);
        if (!name.empty()) {
            parameters.Report("kind", "there is no kind '" + name + "'" +
                                          (nearest ? ", did you mean '" + *nearest + "'?" : ""));
        }
        parameters.Ignore();
    }

    static bool HasOutputs(const Plan& plan)
    {
        return std::any_of(plan.entries.begin(), plan.entries.end(),
                           [](const Entry& entry) { return entry.check->DrivesOutputs(); });
    }

    /// Who tells of each check whether it passed; of driven outputs the inputs that read them before they are driven
    /// anew.
    void JudgeEntries(Plan& plan)
    {
        for (auto entry = plan.entries.begin(); entry != plan.entries.end(); ++entry) {
            const auto next = std::find_if(entry + 1, plan.entries.end(), [](const Entry& later) {
                return later.check->DrivesOutputs() || (later.check->ReadsOutputs() && !later.isOptional);
            });
            const bool isRead =
                entry->check->DrivesOutputs() && next != plan.entries.end() && next->check->ReadsOutputs();
            entry->isProven = entry->check->IsJudgedByBoard() || !entry->ask.empty() || entry->measure || isRead;
        }
        const bool countsAny =
            std::any_of(plan.entries.begin(), plan.entries.end(), [](const Entry& entry) { return !entry.isOptional; });
        if (!countsAny && m_context.problems.empty()) {
            m_context.problems.push_back({0, 0, "the plan tests nothing: it has no check that is not optional"});
        }
    }

    toml::table m_table;
    toml::table m_overrides;
    PlanContext m_context;
    std::set<std::string> m_names;
};

bool HoldsAgainstLimits(const Program& program)
{
    return std::any_of(program.values.begin(), program.values.end(),
                       [](const Value& value) { return value.limits.IsAny(); });
}

/// "FILE:LINE:COLUMN: PROBLEM", a line each, in the order of the file.
std::string Describe(const std::string& name, std::vector<Problem> problems)
{
    std::stable_sort(problems.begin(), problems.end(), [](const Problem& a, const Problem& b) {
        return std::tie(a.line, a.column) < std::tie(b.line, b.column);
    });
    std::string text;
    for (const Problem& problem : problems) {
        text.append(text.empty() ? "" : "\n").append(name);
        if (problem.line > 0) {
            text.append(":").append(std::to_string(problem.line)).append(":").append(std::to_string(problem.column));
        }
        text.append(": ").append(Shown(problem.text));
    }
    return text;
}

}  // namespace

Plan ReadPlan(const std::string& path, const Overrides& overrides)
{
    const std::string text = path.empty() ? BuiltInPlan() : ReadFile(path);
    const std::string name = path.empty() ? "built-in plan" : path;
    PlanReader reader(Parse(text, name), overrides);
    reader.SetFolder(std::filesystem::path(path).parent_path());
    Plan plan = reader.Read();
    if (!reader.Problems().empty()) {
        throw PlanError(Describe(name, reader.Problems()));
    }
    plan.file = path;
    plan.sha256 = Sha256(text);
    return plan;
}

std::vector<std::string> Remarks(const Plan& plan)
{
    std::vector<std::string> remarks;
    for (const Entry& entry : plan.entries) {
        if (!entry.isProven) {
            remarks.push_back(entry.name +
                              " will count as not carried out: the board cannot tell whether it passed. Give it 'ask', "
                              "a question to the operator, or 'measure', a program that measures.");
        }
        if (entry.measure && !HoldsAgainstLimits(*entry.measure)) {
            remarks.push_back(
                entry.name + " holds no measured value against a limit: it passes when its program ends with exit code "
                             "0. Give 'measure' a value with 'least', 'most' or 'expect'.");
        }
    }
    return remarks;
}

}  // namespace Station
