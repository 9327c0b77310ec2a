// Benchmark of questions to the records: 100,000 runs with their frames, asked by the station program.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "apps/station/page/RecordsApi.h"
#include "apps/station/records/Database.h"
#include "apps/station/run/Runner.h"
#include "bench/Measure.h"

namespace {

using Station::Database;
using Station::Integer;

constexpr int RUNS = 100000;
constexpr int CHECKS = 25;
constexpr int VALUES = 15;  // one of each of the first checks
constexpr int FRAMES = 55;
constexpr int RETESTED = 20;              // one of so many units fails at first, and passes when it is tested again
constexpr Integer BEGIN = 1760000000000;  // ms since 1970
constexpr Integer INTERVAL = 300000;      // ms from one run to the next

/// Rows of a table, added many at a time.
class Rows {
public:
    Rows(soci::session& sql, std::string head) : m_sql(sql), m_head(std::move(head)) {}

    void Add(const std::string& row)
    {
        constexpr std::size_t MOST = 500000;  // SQLite takes a million bytes
        m_rows += (m_rows.empty() ? "(" : ",(") + row + ')';
        if (m_rows.size() > MOST) {
            Flush();
        }
    }
    void Flush()
    {
        if (!m_rows.empty()) {
            m_sql << m_head + " values " + m_rows;
        }
        m_rows.clear();
    }

private:
    soci::session& m_sql;
    std::string m_head;
    std::string m_rows;
};

std::string Join(std::initializer_list<std::string> words)
{
    std::string list;
    for (const std::string& word : words) {
        list += (list.empty() ? "" : ",") + word;
    }
    return list;
}

std::string Quoted(const std::string& text)
{
    return '\'' + text + '\'';
}

std::string Number(Integer number)
{
    return std::to_string(number);
}

/// Plans and quantities.
void AddDefinitions(soci::session& sql)
{
    sql << "insert into plan (number, name, version, sha256) values (1, 'Demo', '1', '')";
    Rows quantities(sql, "insert into quantity (number, definition, plan, check_name, name, unit, least, most)");
    for (int i = 1; i <= VALUES; ++i) {
        quantities.Add(Join({Number(i), Quoted(Number(i)), "'Demo'", Quoted("check " + Number(i)), "'voltage'", "'V'",
                             Number(i), Number(i + 1)}));
    }
    quantities.Flush();
}

/// All runs, in the order in which they took place.
void AddRuns(soci::session& sql)
{
    Rows runs(sql, "insert into run (number, id, ordinal, unit, plan, plan_file, station, host, people, options, port, "
                   "speed, data_bits, stop_bits, parity, flow_control, board_type, planned, left_out, started, ended, "
                   "verdict, passed, failed, reason, closed)");
    Rows checks(sql, "insert into check_result (run, position, name, kind, code, optional, result, message, hint, "
                     "status, duration, attempts)");
    Rows values(sql, "insert into measured (run, position, place, quantity, number)");
    Rows traffic(sql, "insert into traffic (run, position, frames)");
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.5, 0.1);
    const std::string frame = "1.234567 > " + std::string(62, '5') + '\n';
    for (int run = 1; run <= RUNS; ++run) {
        const bool isFirst = run % (RETESTED + 1) == 0;
        const int unit = isFirst ? run + 1 : run;  // tested again at once
        const int failed = isFirst ? 1 + run % CHECKS : 0;
        const Integer start = BEGIN + run * INTERVAL;
        runs.Add(Join({Number(run),
                       Quoted(Station::NewUuid()),
                       Number(start),
                       Quoted("SN-" + Number(unit)),
                       "1",
                       "'plans/demo.toml'",
                       "'1.0.0'",
                       Quoted("station-" + Number(run % 4)),
                       "'Ann'",
                       "'[\"run\",\"--port\",\"/dev/ttyUSB0\",\"--plan\",\"plans/demo.toml\"]'",
                       "'/dev/ttyUSB0'",
                       "115200,8,1,'none','none',1",
                       Number(CHECKS),
                       "'[]'",
                       Number(start),
                       Number(start + 9000),
                       failed > 0 ? "'FAIL'" : "'PASS'",
                       Number(CHECKS - (failed > 0 ? 1 : 0)),
                       Number(failed > 0 ? 1 : 0),
                       failed > 0 ? Quoted("check " + Number(failed)) : "''",
                       Number(run)}));
        for (int check = 1; check <= CHECKS; ++check) {
            const std::string place = Join({Number(run), Number(check)});
            checks.Add(Join({place, Quoted("check " + Number(check)), "'command',17,0",
                             check == failed ? "'FAIL'" : "'PASS'", "'duty 74.9 %, as the plan asks for'",
                             check == failed ? "'Look at R7.'" : "''", "0,0.123456,1"}));
            if (check <= VALUES) {
                values.Add(Join({place, "0", Number(check), std::to_string(check + noise(random))}));
            }
            std::string frames;
            for (int i = 0; i < FRAMES / CHECKS + (check <= FRAMES % CHECKS ? 1 : 0); ++i) {
                frames += frame;
            }
            traffic.Add(Join({place, Quoted(frames)}));
        }
        if (run % 100 == 0) {  // rows of one table refer to rows of another
            runs.Flush();
            checks.Flush();
            values.Flush();
            traffic.Flush();
        }
    }
}

/// Tells the least and the median of the seconds until there is an answer: what else runs makes the difference.
void Time(const std::string& question, const std::function<bool()>& ask)
{
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        times.push_back(Bench::TimeCalls(
            [&] {
                if (!ask()) {
                    throw std::runtime_error("this fails: " + question);
                }
            },
            1));
    }
    std::printf("%-44s %8.3f s, median %8.3f s   (aim: < 1 s)\n", question.c_str(),
                *std::min_element(times.begin(), times.end()), Bench::Median(times));
    std::fflush(stdout);
}

void AskProgram(const std::string& url, const std::string& id)
{
    const std::string questions[] = {"history",
                                     "history --failed",
                                     "history --unit SN-4711",
                                     "history --all",
                                     "show " + id.substr(0, 8),
                                     "yield",
                                     "yield --since 2026-02-01",
                                     "yield --by plan",
                                     "yield --by day",
                                     "yield --by station",
                                     "yield --by check"};
    for (const std::string& question : questions) {
        const std::string command = STATION_PROGRAM " " + question + " --records '" + url + "' >/dev/null 2>&1";
        Time(question, [&command] { return std::system(command.c_str()) == 0; });
    }
}

void AskPage(const Station::Location& where)
{
    using Parameters = Station::Query::Parameters;
    const std::pair<std::string, Parameters> questions[] = {
        {"history", {{"search", "sn-47"}, {"verdict", "FAIL"}}},
        {"yield", {{"by", "day"}}},
        {"yield", {{"by", "day"}, {"station", "station-1"}}},
        {"yield", {{"by", "check"}, {"station", "station-1"}}},
        {"yield", {{"by", "station"}, {"plan", "Demo"}}},
        {"yield", {{"by", "day"}, {"from", "2026-02-01"}, {"to", "2026-04-30"}, {"station", "station-1"}}},
        {"values", {{"value", "1"}}},
        {"values", {{"value", "1"}, {"station", "station-1"}}},
        {"choices", {}},
    };
    for (const auto& [path, parameters] : questions) {
        std::string question = "/api/" + path;
        for (const auto& [name, value] : parameters) {
            question += (question.find('?') == std::string::npos ? "?" : "&") + name + "=" + value;
        }
        constexpr int OK = 200;
        Time(question,
             [&, asked = path, with = parameters] { return Station::AskRecords(where, asked, with).status == OK; });
    }
}

bool IsEmpty(Database& database)
{
    Integer count = 0;
    database.Do([&](soci::session& sql) { sql << "select count(*) from run", soci::into(count); });
    return count == 0;
}

/// Fills the database unless that was done before, tells its size, and asks.
void Measure(Database& database, const Station::Location& where, const std::string& url)
{
    const auto start = Bench::Clock::now();
    if (IsEmpty(database)) {
        database.Write([](soci::session& sql) {
            AddDefinitions(sql);
            AddRuns(sql);
        });
    }
    const double seconds = Bench::Seconds(Bench::Clock::now() - start);
    Integer size = 0;
    std::string id;
    database.Do([&](soci::session& sql) {
        if (!database.IsSqlite()) {
            sql << "vacuum analyze";  // a server does that by itself, in time
        }
        sql << (database.IsSqlite() ? "select page_count * page_size from pragma_page_count, pragma_page_size"
                                    : "select pg_database_size(current_database())"),
            soci::into(size);
        sql << "select id from run where number = :number", soci::into(id), soci::use(RUNS / 2, "number");
    });
    std::printf("%d runs with %d checks, %d values and %d frames each: %.0f MB, made in %.0f s\n", RUNS, CHECKS, VALUES,
                FRAMES, static_cast<double>(size) / 1e6, seconds);
    AskProgram(url, id);
    AskPage(where);
}

/// A folder that is there from construction to destruction.
class Folder {
public:
    Folder() { std::filesystem::create_directory(m_path); }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] std::string File(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / ("testmode-bench-" + std::to_string(getpid()));
};

}  // namespace

/// usage: bench_queries [URL]
/// Asks the database that is named as --records names it, or SQLite in a temporary folder, and fills it if it is empty.
int main(int argc, char** argv)
{
    try {
        const Folder folder;
        const std::string url = argc > 1 ? argv[1] : "sqlite:" + folder.File("records.db");
        const Station::Location where = Station::ParseLocation(url);
        Database database = where.server.empty() ? Database::Sqlite(where.file) : Database::Postgres(where.server);
        Measure(database, where, url);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "bench_queries: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
