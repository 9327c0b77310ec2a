// What the records say of earlier runs.
#include "apps/station/records/History.h"

#include <algorithm>
#include <utility>

#include "apps/station/records/RunLocks.h"
#include "apps/station/records/RunTables.h"

namespace Station {

using soci::into;
using soci::use;

namespace {

/// What follows "from run r", and the words in it.
struct Condition {
    std::string text;
    std::vector<std::pair<std::string, std::string>> words;  ///< name and value
};

void Bind(soci::statement& statement, const Condition& condition)
{
    for (const auto& [name, value] : condition.words) {
        statement.exchange(use(value, name));
    }
}

void Execute(soci::statement& statement, const std::string& query)
{
    statement.alloc();
    statement.prepare(query);
    statement.define_and_bind();
    statement.execute();
}

std::vector<RunSummary> Select(soci::session& sql, const Condition& condition)
{
    RunSummary run;
    Integer started = 0;
    std::string verdict;
    soci::statement rows(sql);
    for (std::string* const word :
         {&run.id, &run.unit, &verdict, &run.plan, &run.planVersion, &run.port, &run.host, &run.people, &run.reason}) {
        rows.exchange(into(*word));
    }
    for (Integer* const number : {&run.number, &started, &run.planned, &run.passed, &run.failed}) {
        rows.exchange(into(*number));
    }
    Bind(rows, condition);
    Execute(rows, "select r.id, r.unit, coalesce(r.verdict, 'IN PROGRESS'), p.name, p.version, r.port, r.host, "
                  "r.people, coalesce(r.reason, ''), r.number, r.started, r.planned, "
                  "coalesce(r.passed, (select count(*) from check_result where run = r.number and result = 'PASS')), "
                  "coalesce(r.failed, (select count(*) from check_result where run = r.number and result = 'FAIL')) "
                  "from run r join plan p on p.number = r.plan " +
                      condition.text);
    std::vector<RunSummary> runs;
    while (rows.fetch()) {
        run.start = ToTime(started);
        run.verdict = VerdictOf(verdict);
        runs.push_back(run);
    }
    return runs;
}

Condition ConditionOf(const HistoryFilter& filter)
{
    Condition condition = {"where r.ordinal is not null", {}};
    if (filter.unit) {
        condition.text += " and r.unit = :unit";
        condition.words.emplace_back("unit", *filter.unit);
    }
    if (filter.since) {
        condition.text += " and r.started >= " + std::to_string(ToColumn(*filter.since));
    }
    if (filter.isFailed) {
        condition.text += " and r.verdict = 'FAIL'";
    }
    return condition;
}

Integer CountRuns(soci::session& sql, const Condition& condition)
{
    Integer count = 0;
    soci::statement statement(sql);
    statement.exchange(into(count));
    Bind(statement, condition);
    Execute(statement, "select count(*) from run r " + condition.text);
    statement.fetch();
    return count;
}

bool IsInProgress(const Database& database, Integer number)
{
    return !database.IsSqlite() || RunLocks::IsTaken(LocksOf(database.Name()), number);
}

/// Tells the runs that are in progress from those that ended meanwhile, and from the interrupted ones.
void Settle(Database& database, RunSummary& run)
{
    if (run.verdict != Verdict::InProgress || IsInProgress(database, run.number)) {
        return;
    }
    database.Do([&run](soci::session& sql) {
        run = Select(sql, {"where r.number = " + std::to_string(run.number), {}}).at(0);
    });
    if (run.verdict == Verdict::InProgress) {
        run.verdict = Verdict::Interrupted;
        run.reason = INTERRUPTION;
    }
}

}  // namespace

History ReadHistory(Database& database, const HistoryFilter& filter)
{
    History history;
    database.Read([&](soci::session& sql) {
        Condition condition = ConditionOf(filter);
        const Integer count = CountRuns(sql, condition);
        condition.text += " order by r.ordinal desc limit " + std::to_string(filter.most);
        history.runs = Select(sql, condition);
        history.leftOut = std::max(Integer{0}, count - static_cast<Integer>(history.runs.size()));
    });
    for (RunSummary& run : history.runs) {
        Settle(database, run);
    }
    return history;
}

std::vector<RunSummary> FindRuns(Database& database, const std::string& beginning)
{
    std::vector<RunSummary> runs;
    database.Do([&](soci::session& sql) {
        runs = Select(sql, {"where substr(r.id, 1, " + std::to_string(beginning.size()) +
                                ") = :beginning order by r.ordinal desc limit 10",
                            {{"beginning", beginning}}});
    });
    for (RunSummary& run : runs) {
        Settle(database, run);
    }
    return runs;
}

RunRecord ReadRun(Database& database, const RunSummary& summary)
{
    RunRecord run;
    database.Read([&](soci::session& sql) { run = LoadRun(sql, summary.number); });
    if (run.verdict == Verdict::InProgress && summary.verdict == Verdict::Interrupted) {
        run.verdict = Verdict::Interrupted;
        run.problem = INTERRUPTION;
    }
    return run;
}

bool IsInterrupted(Database& database, Integer number)
{
    bool isOpen = !IsInProgress(database, number);
    if (isOpen) {  // unless it ended since it was read
        database.Do([&](soci::session& sql) {
            isOpen = CountRuns(sql, {"where r.number = " + std::to_string(number) + " and r.verdict is null", {}}) > 0;
        });
    }
    return isOpen;
}

}  // namespace Station
