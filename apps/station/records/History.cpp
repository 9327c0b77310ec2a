// What the records say of earlier runs.
#include "apps/station/records/History.h"

#include <algorithm>
#include <stdexcept>
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
                  "case r.failed when 0 then 0 else (select count(*) from check_result where run = r.number and "
                  "position > 0 and result = 'FAIL' and optional = 0) end "
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

/// Runs without a verdict are few. They are in progress, or a station has left them.
std::string OpenRuns(Database& database, Verdict verdict)
{
    std::vector<Integer> open;
    database.Do([&open](soci::session& sql) {
        const soci::rowset<Integer> rows = (sql.prepare << "select number from run where verdict is null");
        open.assign(rows.begin(), rows.end());
    });
    std::string numbers = "0";  // no run's: the list is never empty
    for (const Integer number : open) {
        if (IsInterrupted(database, number) == (verdict == Verdict::Interrupted)) {
            numbers += ", " + std::to_string(number);
        }
    }
    return "(" + numbers + ")";
}

/// In the order in which the runs took place. Runs of several stations may have the same ordinal.
std::string PlaceOf(soci::session& sql, const std::string& id)
{
    Integer ordinal = 0;
    Integer number = 0;
    sql << "select ordinal, number from run where id = :id", into(ordinal), into(number), use(id, "id");
    if (!sql.got_data()) {
        throw std::invalid_argument("there is no run " + id);
    }
    return "(" + std::to_string(ordinal) + ", " + std::to_string(number) + ")";
}

Condition ConditionOf(Database& database, const HistoryFilter& filter)
{
    Condition condition = {"where r.ordinal is not null", {}};
    const auto add = [&condition](const std::string& text, const std::string& name, const std::string& word) {
        condition.text += " and " + text;
        condition.words.emplace_back(name, word);
    };
    if (filter.unit) {
        add("r.unit = :unit", "unit", *filter.unit);
    }
    if (filter.beginning) {
        add("substr(lower(r.unit), 1, length(:beginning)) = lower(:beginning)", "beginning", *filter.beginning);
    }
    if (filter.since) {
        condition.text += " and r.started >= " + std::to_string(ToColumn(*filter.since));
    }
    if (filter.until) {
        condition.text += " and r.started < " + std::to_string(ToColumn(*filter.until));
    }
    if (filter.plan) {
        add("r.plan in (select number from plan where name = :plan)", "plan", *filter.plan);
    }
    if (filter.verdict == Verdict::InProgress || filter.verdict == Verdict::Interrupted) {
        add("(r.verdict = :verdict or r.verdict is null and r.number in " + OpenRuns(database, *filter.verdict) + ")",
            "verdict", Word(*filter.verdict));
    } else if (filter.verdict) {
        add("r.verdict = :verdict", "verdict", Word(*filter.verdict));
    }
    return condition;
}

/// The same, from one place in their order on.
Condition WithPlace(Condition condition, const std::string& relation, const std::string& place)
{
    condition.text += " and (r.ordinal, r.number) " + relation + " " + place;
    return condition;
}

std::vector<RunSummary> SelectPage(soci::session& sql, Condition condition, const HistoryFilter& filter)
{
    if (filter.before) {
        condition = WithPlace(condition, "<", PlaceOf(sql, *filter.before));
    }
    if (filter.after) {
        condition = WithPlace(condition, ">", PlaceOf(sql, *filter.after));
    }
    const std::string direction = filter.after ? "asc" : "desc";
    condition.text +=
        " order by r.ordinal " + direction + ", r.number " + direction + " limit " + std::to_string(filter.most);
    std::vector<RunSummary> runs = Select(sql, condition);
    if (filter.after) {
        std::reverse(runs.begin(), runs.end());
    }
    return runs;
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
    const Condition condition = ConditionOf(database, filter);
    database.Read([&](soci::session& sql) {
        history.runs = SelectPage(sql, condition, filter);
        if (!history.runs.empty()) {
            history.newer = CountRuns(sql, WithPlace(condition, ">", PlaceOf(sql, history.runs.front().id)));
            history.older = CountRuns(sql, WithPlace(condition, "<", PlaceOf(sql, history.runs.back().id)));
        }
    });
    for (RunSummary& run : history.runs) {
        Settle(database, run);
    }
    return history;
}

std::vector<RunSummary> FindRuns(Database& database, const std::string& beginning)
{
    constexpr std::size_t UUID = 36;  // letters: a whole one is found by its index
    const std::string compared =
        beginning.size() == UUID ? "r.id" : "substr(r.id, 1, " + std::to_string(beginning.size()) + ")";
    std::vector<RunSummary> runs;
    database.Do([&](soci::session& sql) {
        runs = Select(
            sql, {"where " + compared + " = :beginning order by r.ordinal desc limit 10", {{"beginning", beginning}}});
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

Choices ReadChoices(Database& database)
{
    Choices choices;
    database.Read([&choices](soci::session& sql) {
        const soci::rowset<std::string> plans = (sql.prepare << "select distinct name from plan order by name");
        choices.plans.assign(plans.begin(), plans.end());
        const soci::rowset<std::string> stations = (sql.prepare << "select distinct host from run order by host");
        choices.stations.assign(stations.begin(), stations.end());
    });
    return choices;
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
