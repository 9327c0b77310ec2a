// Earlier runs, a line each, and one of them in full.
#include "apps/station/report/History.h"

#include "apps/station/report/Text.h"

namespace Station {

namespace {

constexpr std::size_t SHORT_ID = 8;

std::string WithVersion(const std::string& plan, const std::string& version)
{
    return plan + (version.empty() ? "" : " " + version);
}

std::string ValueLine(const Value& value)
{
    const std::string limits = value.LimitsText();
    return std::string(46, ' ') +
           Shown(value.name + ": " + value.Text() + (limits.empty() ? "" : " (" + limits + ")")) +
           (value.IsWithin() ? "" : ", outside") + '\n';
}

std::string CheckText(const CheckRecord& check, bool showsFrames)
{
    std::string text;
    for (const Traffic& entry : check.traffic) {
        text += showsFrames ? TrafficLine(entry) + '\n' : "";
    }
    text += ResultLine(check) + '\n';
    for (const Value& value : check.values) {
        text += ValueLine(value);
    }
    return text;
}

}  // namespace

std::string HistoryText(const std::vector<RunSummary>& runs)
{
    Table table;
    table.columns = {"start", "unit", "verdict", "plan", "passed", "failed", "port", "host", "run", "reason"};
    for (const RunSummary& run : runs) {
        table.rows.push_back({LocalTime(run.start), run.unit, Word(run.verdict), WithVersion(run.plan, run.planVersion),
                              run.passed, run.failed, run.port, run.host, run.id.substr(0, SHORT_ID), run.reason});
    }
    return ToText(table);
}

NamedTables HistoryTables(const std::vector<RunSummary>& runs)
{
    Table table;
    table.columns = {"id",     "start",  "unit", "verdict", "plan",     "plan_version", "planned",
                     "passed", "failed", "port", "host",    "operator", "reason"};
    for (const RunSummary& run : runs) {
        table.rows.push_back({run.id, UtcTimestamp(run.start), run.unit, Word(run.verdict), run.plan, run.planVersion,
                              run.planned, run.passed, run.failed, run.port, run.host, run.people, run.reason});
    }
    return {{"runs", table}};
}

std::string RunText(const RunRecord& run, bool showsFrames)
{
    std::string text =
        "Run " + run.id + ", " + LocalTime(run.start) + "\n" +
        Shown(WithVersion(run.planName, run.planVersion) + ", on " + run.port + " of " + run.host +
              (run.unit.empty() ? "" : ", unit " + run.unit) + (run.people.empty() ? "" : ", operator " + run.people)) +
        '\n';
    if (showsFrames && run.pruned) {
        text += "What went over the line was removed from the records on " + LocalTime(*run.pruned) + ".\n";
    }
    if (showsFrames || run.link.result != Result::Pass) {
        text += run.link.name.empty() ? "" : CheckText(run.link, showsFrames);
    }
    for (const CheckRecord& check : run.checks) {
        text += CheckText(check, showsFrames);
    }
    return text + SummaryLine(run) + '\n';
}

NamedTables RunTables(const RunRecord& run)
{
    Table table;
    table.columns = {"check", "kind",   "optional", "result", "message", "hint", "duration_s",
                     "value", "number", "text",     "unit",   "least",   "most", "expected"};
    for (const CheckRecord& check : run.checks) {
        const std::vector<Cell> head = {check.name,
                                        check.kind,
                                        static_cast<long long>(check.isOptional),
                                        Word(check.result),
                                        check.message,
                                        check.hint,
                                        ToMicrosecond(check.duration)};
        for (const Value& value : check.values) {
            std::vector<Cell>& row = table.rows.emplace_back(head);
            const auto* const text = std::get_if<std::string>(&value.value);
            const auto* const number = std::get_if<double>(&value.value);
            row.insert(row.end(), {value.name, number != nullptr ? Cell(*number) : Cell(),
                                   text != nullptr ? Cell(*text) : Cell(), value.unit, OrNothing(value.limits.least),
                                   OrNothing(value.limits.most), OrNothing(value.limits.expected)});
        }
        if (check.values.empty()) {
            table.rows.emplace_back(head).resize(table.columns.size());
        }
    }
    return {{"checks", table}};
}

}  // namespace Station
