// How many units pass, and what they fail for.
#include "apps/station/records/Yield.h"

#include <algorithm>
#include <ctime>
#include <limits>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "apps/station/records/CheckYield.h"
#include "apps/station/records/History.h"
#include "apps/station/records/RunTables.h"

namespace Station {

using soci::into;
using soci::use;

namespace {

using Name = std::pair<std::string, std::string>;  // of a group: plan and version, plan, day or station
using Plans = std::map<Integer, Name>;             // name and version of each

struct Run {
    JudgedRun judged;
    std::string unit;
    std::string host;
    Integer started = 0;
};

Plans ReadPlans(soci::session& sql)
{
    Plans plans;
    Integer number = 0;
    Name name;
    soci::statement rows =
        (sql.prepare << "select number, name, version from plan", into(number), into(name.first), into(name.second));
    rows.execute();
    while (rows.fetch()) {
        plans[number] = name;
    }
    return plans;
}

std::string LocalDay(Integer started)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(ToTime(started));
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char day[32];
    std::strftime(day, sizeof day, "%F", &parts);
    return day;
}

/// Sorts the runs into groups, in the order in which they took place.
class Sorter {
public:
    Sorter(Plans plans, Grouping by, Selection selection)
        : m_plans(std::move(plans)), m_by(by), m_selection(std::move(selection))
    {
    }

    /// Notes a run of any verdict and plan; returns whether it is within period and station.
    bool Note(Integer number, Integer started, const std::string& host)
    {
        if (started < m_selection.since || started >= m_selection.until ||
            (!m_selection.station.empty() && host != m_selection.station)) {
            return false;
        }
        ++m_count;
        m_first = std::min(m_first, number);
        m_last = std::max(m_last, number);
        return true;
    }
    [[nodiscard]] bool IsOfPlan(Integer plan) const
    {
        return m_selection.plan.empty() || m_plans.at(plan).first == m_selection.plan;
    }
    /// Takes a judged one of the plan. The others tell which of those within are not the first of their units.
    void Take(const Run& run, bool isWithin)
    {
        const auto [known, isFirst] = m_units.emplace(run.unit, static_cast<Integer>(m_units.size()));
        const Integer unit = known->second;
        const bool isFirstOfGroup = IsByPlan() ? m_unitsOfPlans[PlanOf(run)].insert(unit).second : isFirst;
        if (isWithin) {
            m_all.Add(unit, run.judged, isFirst);
        }
        if (isWithin && m_by != Grouping::None) {
            m_groups[GroupOf(run)].Add(unit, run.judged, isFirstOfGroup);
        }
    }

    /// What was asked for, and what is known of the numbers.
    [[nodiscard]] Selection Selected() const
    {
        Selection selection = m_selection;
        selection.first = m_first;
        selection.last = m_last;
        selection.isWhole = m_count > 0 && m_last - m_first + 1 == m_count;
        return selection;
    }
    [[nodiscard]] const Tally& All() const { return m_all; }
    [[nodiscard]] const std::map<Name, Tally>& Groups() const { return m_groups; }

private:
    /// A unit may go through several plans: it has a first run with each of them.
    [[nodiscard]] bool IsByPlan() const { return m_by == Grouping::Plan || m_by == Grouping::Check; }
    [[nodiscard]] const std::string& PlanOf(const Run& run) const { return m_plans.at(run.judged.plan).first; }
    [[nodiscard]] Name GroupOf(const Run& run) const
    {
        switch (m_by) {
        case Grouping::Plan:
            return m_plans.at(run.judged.plan);
        case Grouping::Day:
            return {"", LocalDay(run.started)};
        case Grouping::Station:
            return {"", run.host};
        default:
            return {PlanOf(run), ""};
        }
    }

    Plans m_plans;
    Grouping m_by;
    Selection m_selection;
    Integer m_count = 0;  ///< of runs within
    Integer m_first = std::numeric_limits<Integer>::max();
    Integer m_last = std::numeric_limits<Integer>::min();
    std::unordered_map<std::string, Integer> m_units;                   ///< that have been judged, and their numbers
    std::map<std::string, std::unordered_set<Integer>> m_unitsOfPlans;  ///< that have been judged by each
    Tally m_all;
    std::map<Name, Tally> m_groups;
};

/// Returns the runs within the period that have no verdict.
std::vector<Integer> SortRuns(soci::session& sql, Sorter& sorter, std::map<Verdict, Integer>& notJudged)
{
    std::vector<Integer> open;
    constexpr std::size_t BATCH = 5000;
    std::vector<Integer> numbers(BATCH);
    std::vector<std::string> units(BATCH);
    std::vector<Integer> plans(BATCH);
    std::vector<std::string> hosts(BATCH);
    std::vector<Integer> starts(BATCH);
    std::vector<std::string> verdicts(BATCH);
    std::vector<int> areComplete(BATCH);
    soci::statement rows =
        (sql.prepare << "select number, unit, plan, host, started, coalesce(verdict, ''), case when passed + failed = "
                        "planned then 1 else 0 end from run order by ordinal, number",
         into(numbers), into(units), into(plans), into(hosts), into(starts), into(verdicts), into(areComplete));
    rows.execute();
    while (rows.fetch()) {
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            const bool isWithin = sorter.Note(numbers[i], starts[i], hosts[i]);
            if (!sorter.IsOfPlan(plans[i])) {
                continue;
            }
            const bool isPass = verdicts[i] == Word(Verdict::Pass);
            if (isPass || verdicts[i] == Word(Verdict::Fail)) {
                if (units[i].empty()) {
                    units[i] = '\n' + std::to_string(numbers[i]);  // a unit without a number has no other run
                }
                sorter.Take({{numbers[i], plans[i], isPass, areComplete[i] != 0}, units[i], hosts[i], starts[i]},
                            isWithin);
            } else if (isWithin && verdicts[i].empty()) {
                open.push_back(numbers[i]);
            } else if (isWithin) {
                ++notJudged[VerdictOf(verdicts[i])];
            }
        }
        numbers.resize(BATCH);
        units.resize(BATCH);
        plans.resize(BATCH);
        hosts.resize(BATCH);
        starts.resize(BATCH);
        verdicts.resize(BATCH);
        areComplete.resize(BATCH);
    }
    return open;
}

YieldGroup GroupOf(const Name& name, const Tally& tally)
{
    return {name.first, name.second, static_cast<Integer>(tally.Runs().size()), tally.FirstPass(), tally.Final()};
}

std::vector<YieldGroup> GroupsOf(soci::session& sql, const Sorter& sorter, Grouping by)
{
    if (by == Grouping::Check) {
        return YieldOfChecks(sql, sorter.Groups());
    }
    std::vector<YieldGroup> groups;
    for (const auto& [name, tally] : sorter.Groups()) {
        groups.push_back(GroupOf(name, tally));
    }
    return groups;
}

std::vector<FailedCheck> ReadFailures(soci::session& sql, const Selection& selection)
{
    std::vector<FailedCheck> failures;
    FailedCheck failed;
    soci::statement rows =
        (sql.prepare << "select p.name, c.name, count(*), count(distinct case when r.unit = '' then r.id else r.unit "
                        "end) from check_result c cross join run r cross join plan p where c.result = 'FAIL' and "
                        "c.result <> 'PASS' and c.position > 0 and r.number = c.run and "
                        "r.verdict in ('PASS', 'FAIL') and " +
                            selection.Condition() +
                            " and p.number = r.plan and (:plan = '' or p.name = :plan) "
                            "group by p.name, c.name order by 3 desc, 1, 2",
         into(failed.plan), into(failed.check), into(failed.runs), into(failed.units),
         use(selection.station, "station"), use(selection.plan, "plan"));
    rows.execute();
    while (rows.fetch()) {
        failures.push_back(failed);
    }
    return failures;
}

Selection SelectionOf(const YieldFilter& filter)
{
    Selection selection;
    selection.since = filter.since ? ToColumn(*filter.since) : selection.since;
    selection.until = filter.until ? ToColumn(*filter.until) : selection.until;
    selection.plan = filter.plan;
    selection.station = filter.station;
    return selection;
}

}  // namespace

Yield ReadYield(Database& database, const YieldFilter& filter)
{
    Yield yield;
    std::vector<Integer> open;
    database.Read([&](soci::session& sql) {
        const Selection selection = SelectionOf(filter);
        Sorter sorter(ReadPlans(sql), filter.by, selection);
        open = SortRuns(sql, sorter, yield.notJudged);
        yield.all = GroupOf({}, sorter.All());
        yield.groups = GroupsOf(sql, sorter, filter.by);
        yield.failures = ReadFailures(sql, selection);
        yield.values = ReadStatistics(sql, sorter.Selected());
    });
    for (const Integer number : open) {
        ++yield.notJudged[IsInterrupted(database, number) ? Verdict::Interrupted : Verdict::InProgress];
    }
    return yield;
}

std::optional<Histogram> ReadHistogram(Database& database, const YieldFilter& filter, Integer value)
{
    std::optional<Histogram> histogram;
    database.Read([&](soci::session& sql) {
        const Selection selection = SelectionOf(filter);
        for (const ValueStatistics& statistics : ReadStatistics(sql, selection, value)) {
            histogram = Histogram{statistics, ReadBins(sql, selection, statistics)};
        }
    });
    return histogram;
}

}  // namespace Station
