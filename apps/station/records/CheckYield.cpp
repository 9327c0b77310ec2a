// Which share of the units passes each check.
#include "apps/station/records/CheckYield.h"

#include <functional>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace Station {

using soci::into;
using soci::use;

namespace {

using Groups = std::map<std::pair<std::string, std::string>, YieldGroup>;  // of plan and check

/// What a run, or several, count for.
struct Part {
    Integer runs = 0;
    Integer first = 0;  ///< of these runs were the first of their units
    Integer last = 0;
    const std::string* plan = nullptr;  ///< its name
    bool isComplete = false;
};

using Parts = std::unordered_map<Integer, Part>;  // of the number of a run

/// Complete runs with one text of a plan.
struct Alike {
    Integer run = 0;  ///< one of them: it tells which checks there are
    Part part;
};

void Add(YieldGroup& group, const Part& part, bool isPass)
{
    group.runs += part.runs;
    group.firstPass.Add(part.first, isPass);
    group.final.Add(part.last, isPass);
}

void Note(const std::string& plan, const Tally& tally, Parts& parts)
{
    for (const JudgedRun& run : tally.Runs()) {
        parts[run.number] = {1, 0, 0, &plan, run.isComplete};
    }
    for (const JudgedRun& run : tally.First()) {
        parts[run.number].first = 1;
    }
    for (const auto& [unit, run] : tally.Last()) {
        parts[run.number].last = 1;
    }
}

/// All checks of complete runs, as if none had failed: one run tells their names.
void AddComplete(soci::session& sql, const std::string& plan, const Tally& tally, const Parts& parts, Groups& groups)
{
    std::map<Integer, Alike> texts;
    for (const JudgedRun& run : tally.Runs()) {
        if (run.isComplete) {
            Alike& alike = texts[run.plan];
            const Part& part = parts.at(run.number);
            alike.run = run.number;
            alike.part.runs += part.runs;
            alike.part.first += part.first;
            alike.part.last += part.last;
        }
    }
    for (const auto& [number, alike] : texts) {
        const soci::rowset<std::string> names =
            (sql.prepare << "select name from check_result where run = :run and position > 0", use(alike.run, "run"));
        for (const std::string& name : names) {
            Add(groups[{plan, name}], alike.part, true);
        }
    }
}

/// Tells the checks that a query picks of runs that count: their group, what their run counts for, whether they passed.
void ForEachCheck(soci::session& sql, const std::string& query, const Parts& parts, Groups& groups,
                  const std::function<void(YieldGroup&, const Part&, bool isPass)>& tell)
{
    constexpr std::size_t BATCH = 5000;
    std::vector<Integer> runs(BATCH);
    std::vector<std::string> names(BATCH);
    std::vector<std::string> results(BATCH);
    soci::statement rows = (sql.prepare << query, into(runs), into(names), into(results));
    rows.execute();
    while (rows.fetch()) {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            if (const auto part = parts.find(runs[i]); part != parts.end()) {
                tell(groups[{*part->second.plan, names[i]}], part->second, results[i] == Word(Result::Pass));
            }
        }
        runs.resize(BATCH);
        names.resize(BATCH);
        results.resize(BATCH);
    }
}

}  // namespace

std::vector<YieldGroup> YieldOfChecks(soci::session& sql,
                                      const std::map<std::pair<std::string, std::string>, Tally>& plans)
{
    Parts parts;
    Groups groups;
    for (const auto& [plan, tally] : plans) {
        Note(plan.first, tally, parts);
        AddComplete(sql, plan.first, tally, parts, groups);
    }
    // The first condition is that of an index.
    ForEachCheck(
        sql, "select run, name, result from check_result where result <> 'PASS' and result = 'FAIL' and position > 0",
        parts, groups, [](YieldGroup& group, const Part& part, bool /*isPass*/) {
            if (part.isComplete) {
                Part less = part;
                less.runs = -part.runs;
                less.first = -part.first;
                less.last = -part.last;
                Add(group, less, true);
                Add(group, part, false);
            }
        });
    // "cross join" tells SQLite the order to go in; PostgreSQL finds its own.
    ForEachCheck(sql,
                 "select c.run, c.name, c.result from run r cross join check_result c where "
                 "r.verdict in ('PASS', 'FAIL') and r.passed + r.failed <> r.planned and c.run = r.number and "
                 "c.position > 0 and c.result in ('PASS', 'FAIL')",
                 parts, groups, [](YieldGroup& group, const Part& part, bool isPass) { Add(group, part, isPass); });
    std::vector<YieldGroup> yields;
    for (auto& [name, group] : groups) {
        std::tie(group.plan, group.name) = name;
        yields.push_back(group);
    }
    return yields;
}

}  // namespace Station
