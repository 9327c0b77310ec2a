// Keeping the records in good order: copies of them, and room on the disk.
#include "apps/station/records/Upkeep.h"

#include <algorithm>

#include "apps/station/records/RunTables.h"

namespace Station {

using soci::into;
using soci::use;

namespace {

constexpr int RUNS_AT_ONCE = 100;
constexpr Integer PAGES_AT_ONCE = 1000;

/// Of a run: all servers have it that have ever had one.
constexpr const char* FORWARDED = "closed <= coalesce((select min(closed) from forwarded), closed)";

Integer CountRuns(soci::session& sql, const std::string& condition)
{
    Integer count = 0;
    sql << "select count(*) from run where " + condition, into(count);
    return count;
}

Integer CountFreePages(soci::session& sql)
{
    Integer pages = 0;
    sql << "pragma freelist_count", into(pages);
    return pages;
}

/// Gives free pages of SQLite back to the file system, some at a time.
void GiveSpaceBack(Database& database)
{
    Integer free = 1;
    while (free > 0) {
        database.Write([&free](soci::session& sql) {
            free = CountFreePages(sql);
            for (Integer page = 0; page < std::min(free, PAGES_AT_ONCE); ++page) {
                sql << "pragma incremental_vacuum(1)";
            }
            const Integer left = CountFreePages(sql);
            free = left < free ? left : 0;
        });
    }
}

}  // namespace

void BackUp(Database& database, const std::string& file)
{
    if (!database.IsSqlite()) {
        throw RecordError("a server's records are copied with its own tool: pg_dump");
    }
    database.Do([&file](soci::session& sql) { sql << "vacuum into :file", use(file, "file"); });
}

Pruned PruneTraffic(Database& database, std::chrono::system_clock::time_point before)
{
    const Integer now = ToColumn(std::chrono::system_clock::now());
    const std::string old = "started < " + std::to_string(ToColumn(before)) +
                            " and pruned is null and exists (select 1 from traffic where run = run.number)";
    Pruned pruned;
    Integer last = 0;
    bool isMore = true;
    while (isMore) {
        database.Write([&](soci::session& sql) {
            std::vector<Integer> numbers(RUNS_AT_ONCE);
            sql << "select number from run where number > :last and verdict is not null and " + old + " and " +
                       FORWARDED + " order by number limit " + std::to_string(RUNS_AT_ONCE),
                into(numbers), use(last, "last");
            for (const Integer number : numbers) {
                sql << "delete from traffic where run = :run", use(number, "run");
                sql << "update run set pruned = :now where number = :run", use(now, "now"), use(number, "run");
            }
            isMore = !numbers.empty();
            last = isMore ? numbers.back() : last;
            pruned.removed += static_cast<Integer>(numbers.size());
        });
    }
    database.Do([&](soci::session& sql) {
        pruned.open = CountRuns(sql, "verdict is null and " + old);
        pruned.notForwarded = CountRuns(sql, "verdict is not null and " + old);
    });
    if (database.IsSqlite()) {
        GiveSpaceBack(database);
    }
    return pruned;
}

}  // namespace Station
