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
};

using Parts = std::unordered_map<Integer, Part>;  // of the number of a run

/// Runs that passed with one text of a plan.
struct Passes {
    Integer run = 0;  ///< one of them: it tells which checks there are
    Part part;
};

void Add(YieldGroup& group, const Part& part, bool isPass)
{
    group.runs += part.runs;
    group.firstPass.Add(part.first, isPass);
    group.final.Add(part.last, isPass);
}

void Note(const Tally& tally, Parts& parts)
{
    for (const JudgedRun& run : tally.Runs()) {
        parts[run.number].runs = 1;
    }
    for (const JudgedRun& run : tally.First()) {
        parts[run.number].first = 1;
    }
    for (const auto& [unit, run] : tally.Last()) {
        parts[run.number].last = 1;
    }
}

/// A run that passed has carried its plan's checks out, and all but optional ones passed: one run tells their names.
void AddPasses(soci::session& sql, const std::string& plan, const Tally& tally, const Parts& parts, Groups& groups)
{
    std::map<Integer, Passes> passes;
    for (const JudgedRun& run : tally.Runs()) {
        if (run.isPass) {
            Passes& same = passes[run.plan];
            const Part& part = parts.at(run.number);
            same.run = run.number;
            same.part.runs += part.runs;
            same.part.first += part.first;
            same.part.last += part.last;
        }
    }
    for (const auto& [number, same] : passes) {
        const soci::rowset<std::string> names =
            (sql.prepare << "select name from check_result where run = :run and position > 0", use(same.run, "run"));
        for (const std::string& name : names) {
            Add(groups[{plan, name}], same.part, true);
        }
    }
}

/// Tells the checks that a condition picks of runs that count: their group, what their run counts for, their result.
void ForEachCheck(soci::session& sql, const std::string& condition, const Parts& parts, Groups& groups,
                  const std::function<void(YieldGroup&, const Part&, const std::string& result)>& tell)
{
    constexpr std::size_t BATCH = 5000;
    std::vector<Integer> runs(BATCH);
    std::vector<std::string> plans(BATCH);
    std::vector<std::string> names(BATCH);
    std::vector<std::string> results(BATCH);
    soci::statement rows = (sql.prepare << "select r.number, p.name, c.name, c.result from " + condition, into(runs),
                            into(plans), into(names), into(results));
    rows.execute();
    while (rows.fetch()) {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            if (const auto part = parts.find(runs[i]); part != parts.end()) {
                tell(groups[{plans[i], names[i]}], part->second, results[i]);
            }
        }
        runs.resize(BATCH);
        plans.resize(BATCH);
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
        Note(tally, parts);
        AddPasses(sql, plan.first, tally, parts, groups);
    }
    // "cross join" tells SQLite the order to go in; PostgreSQL finds its own.
    ForEachCheck(sql,
                 "run r cross join check_result c cross join plan p where r.verdict = 'FAIL' and c.run = r.number and "
                 "c.position > 0 and c.result in ('PASS', 'FAIL') and p.number = r.plan",
                 parts, groups, [](YieldGroup& group, const Part& part, const std::string& result) {
                     Add(group, part, result == Word(Result::Pass));
                 });
    ForEachCheck(sql,
                 "check_result c cross join run r cross join plan p where c.result <> 'PASS' and r.number = c.run and "
                 "r.verdict = 'PASS' and p.number = r.plan",
                 parts, groups, [](YieldGroup& group, const Part& part, const std::string& result) {
                     const Part less = {-part.runs, -part.first, -part.last};
                     Add(group, less, true);
                     if (result == Word(Result::Fail)) {
                         Add(group, part, false);
                     }
                 });
    std::vector<YieldGroup> yields;
    for (auto& [name, group] : groups) {
        std::tie(group.plan, group.name) = name;
        yields.push_back(group);
    }
    return yields;
}

}  // namespace Station
