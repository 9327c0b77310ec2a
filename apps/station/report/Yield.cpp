// Yield and statistics, for a person and for programs.
#include "apps/station/report/Yield.h"

#include <cmath>
#include <cstdio>

namespace Station {

namespace {

std::optional<double> Ratio(const Share& share)
{
    return share.units > 0 ? std::optional(static_cast<double>(share.passed) / static_cast<double>(share.units))
                           : std::nullopt;
}

/// "95.24 % (20 of 21)"; never 100 % when one failed.
std::string ShareText(const Share& share)
{
    constexpr double HUNDREDTHS = 10000;  // of a per cent
    const std::optional<double> ratio = Ratio(share);
    if (!ratio) {
        return "-";
    }
    char text[96];
    std::snprintf(text, sizeof text, "%.2f %% (%lld of %lld)", std::floor(*ratio * HUNDREDTHS) / 100, share.passed,
                  share.units);
    return text;
}

/// With so many digits as people compare.
std::string Rounded(const std::optional<double>& number, const char* format)
{
    char text[64] = "-";
    if (number) {
        std::snprintf(text, sizeof text, format, *number);
    }
    return text;
}

/// The columns of a group that name it.
std::vector<std::string> NamesOf(Grouping by)
{
    switch (by) {
    case Grouping::Plan:
        return {"plan", "version"};
    case Grouping::Check:
        return {"plan", "check"};
    case Grouping::Day:
        return {"day"};
    default:
        return {"station"};
    }
}

std::string GroupText(const std::vector<YieldGroup>& groups, Grouping by)
{
    Table table;
    table.columns = NamesOf(by);
    const bool hasPlan = table.columns.size() > 1;
    table.columns.insert(table.columns.end(), {"runs", "first-pass yield", "final yield"});
    for (const YieldGroup& group : groups) {
        std::vector<Cell>& row = table.rows.emplace_back();
        if (hasPlan) {
            row.emplace_back(group.plan);
        }
        row.insert(row.end(), {group.name, group.runs, ShareText(group.firstPass), ShareText(group.final)});
    }
    return ToText(table);
}

Table FailureTable(const std::vector<FailedCheck>& failures)
{
    Table table;
    table.columns = {"plan", "check", "runs", "units"};
    for (const FailedCheck& failed : failures) {
        table.rows.push_back({failed.plan, failed.check, failed.runs, failed.units});
    }
    return table;
}

std::string ValueText(const std::vector<ValueStatistics>& values)
{
    Table table;
    table.columns = {"plan", "check", "value", "count", "least", "mean", "most", "deviation", "Cpk", "limits"};
    for (const ValueStatistics& value : values) {
        const Value limited = {value.name, value.mean, value.unit, value.limits};
        table.rows.push_back({value.plan, value.check, value.name, value.count, value.least,
                              Rounded(value.mean, "%.10g"), value.most, Rounded(value.deviation, "%.4g"),
                              Rounded(value.cpk, "%.2f"),
                              limited.LimitsText().empty() ? value.unit : limited.LimitsText()});
    }
    return ToText(table);
}

Table GroupTable(const std::vector<YieldGroup>& groups)
{
    Table table;
    table.columns = {"plan",        "name",        "runs",         "first_units", "first_passed",
                     "first_yield", "final_units", "final_passed", "final_yield"};
    for (const YieldGroup& group : groups) {
        table.rows.push_back({group.plan, group.name, group.runs, group.firstPass.units, group.firstPass.passed,
                              OrNothing(Ratio(group.firstPass)), group.final.units, group.final.passed,
                              OrNothing(Ratio(group.final))});
    }
    return table;
}

}  // namespace

std::string YieldText(const Yield& yield, Grouping by)
{
    std::string text = "First-pass yield  " + ShareText(yield.all.firstPass) + "\nFinal yield       " +
                       ShareText(yield.all.final) + "\nJudged runs       " + std::to_string(yield.all.runs) + '\n';
    for (const auto& [verdict, runs] : yield.notJudged) {
        text += "Not counted       " + std::to_string(runs) + " " + Word(verdict) + '\n';
    }
    if (by != Grouping::None) {
        text += '\n' + GroupText(yield.groups, by);
    }
    if (!yield.failures.empty()) {
        text += "\nFailed checks\n" + ToText(FailureTable(yield.failures));
    }
    if (!yield.values.empty()) {
        text += "\nMeasured values\n" + ValueText(yield.values);
    }
    return text;
}

Table ValueTable(const std::vector<ValueStatistics>& values)
{
    Table table;
    table.columns = {"plan",  "check", "value", "unit", "lower_limit",        "upper_limit",
                     "count", "least", "mean",  "most", "standard_deviation", "cpk"};
    for (const ValueStatistics& value : values) {
        table.rows.push_back({value.plan, value.check, value.name, value.unit, OrNothing(value.limits.least),
                              OrNothing(value.limits.most), value.count, value.least, value.mean, value.most,
                              OrNothing(value.deviation), OrNothing(value.cpk)});
    }
    return table;
}

NamedTables YieldTables(const Yield& yield)
{
    Table notJudged;
    notJudged.columns = {"verdict", "runs"};
    for (const auto& [verdict, runs] : yield.notJudged) {
        notJudged.rows.push_back({Word(verdict), runs});
    }
    return {{"total", GroupTable({yield.all})},
            {"groups", GroupTable(yield.groups)},
            {"failures", FailureTable(yield.failures)},
            {"values", ValueTable(yield.values)},
            {"not_judged", notJudged}};
}

}  // namespace Station
