// The station's own records.
#include "apps/station/records/Records.h"

#include "apps/station/records/RunTables.h"

namespace Station {

using soci::into;
using soci::use;

/// Keeps one run after the other, each of them on the thread of its run.
class Records::Sink : public RecordSink {
public:
    explicit Sink(Records& records) : m_records(records) {}
    ~Sink() override { m_records.m_locks.Release(m_run); }

    [[nodiscard]] bool IsKeeping() const override { return true; }

    void OnBegin(const RunRecord& run) override
    {
        m_records.m_locks.Release(m_run);
        m_checks = 0;
        Write([&](soci::session& sql) {
            m_run = InsertRun(sql, run);
            if (!m_records.m_locks.Take(m_run)) {
                throw RecordError("another station has the lock of run " + run.id);
            }
        });
    }
    void OnJudged(const RunRecord& run, const CheckRecord& check) override
    {
        Write([&](soci::session& sql) { InsertCheck(sql, m_run, m_checks + 1, run, check); });
        ++m_checks;
    }
    void OnVerdict(const RunRecord& run) override
    {
        const std::string verdict = Word(run.verdict);
        Write([&](soci::session& sql) {
            sql << "update run set judged = :judged where number = :number", use(verdict, "judged"),
                use(m_run, "number");
        });
    }
    void OnEnd(const RunRecord& run) override
    {
        Write([&](soci::session& sql) { CloseRun(sql, m_run, run); });
        m_records.m_onEnded();
    }

private:
    void Write(const std::function<void(soci::session&)>& work)
    {
        const std::lock_guard lock(m_records.m_mutex);
        m_records.m_database.Write(work);
    }

    Records& m_records;
    Integer m_run = 0;
    std::size_t m_checks = 0;
};

Records::Records(const std::string& file) : m_database(Database::Sqlite(file)), m_locks(LocksOf(file)) {}

std::unique_ptr<RecordSink> Records::NewSink()
{
    return std::make_unique<Sink>(*this);
}

std::vector<RunRecord> Records::CloseInterrupted()
{
    const std::lock_guard lock(m_mutex);
    std::vector<RunRecord> interrupted;
    m_database.Write([&](soci::session& sql) {
        const soci::rowset<Integer> open = (sql.prepare << "select number from run where verdict is null");
        for (const Integer number : std::vector<Integer>(open.begin(), open.end())) {
            if (m_locks.Take(number)) {
                RunRecord run = LoadRun(sql, number);
                run.verdict = Verdict::Interrupted;
                run.problem = INTERRUPTION;
                CloseRun(sql, number, run);
                m_locks.Release(number);
                interrupted.push_back(std::move(run));
            }
        }
    });
    return interrupted;
}

std::optional<std::chrono::system_clock::time_point> Records::LastPass(const std::string& unit)
{
    const std::lock_guard lock(m_mutex);
    std::optional<Integer> started;
    m_database.Do([&](soci::session& sql) {
        sql << "select started from run where unit = :unit and verdict = 'PASS' order by ordinal desc limit 1",
            into(started), use(unit, "unit");
    });
    return started ? std::optional(ToTime(*started)) : std::nullopt;
}

std::vector<Seconds> Records::PassDurations(const std::string& sha256, int most)
{
    const std::lock_guard lock(m_mutex);
    std::vector<Seconds> durations;
    m_database.Do([&](soci::session& sql) {
        Integer started = 0;
        Integer ended = 0;
        soci::statement rows =
            (sql.prepare << "select r.started, r.ended from run r join plan p on p.number = r.plan "
                            "where p.sha256 = :sha256 and r.verdict = 'PASS' and r.ended is not null "
                            "order by r.ordinal desc limit " +
                                std::to_string(most),
             into(started), into(ended), use(sha256, "sha256"));
        rows.execute();
        while (rows.fetch()) {
            durations.emplace_back(ToTime(ended) - ToTime(started));
        }
    });
    return durations;
}

std::string Records::Suspicion(const std::string& port)
{
    const std::lock_guard lock(m_mutex);
    std::string unit;
    bool isGivenUp = false;
    m_database.Do([&](soci::session& sql) {
        sql << "select r.unit from run r join check_result c on c.run = r.number and c.position = "
               "(select max(position) from check_result where run = r.number) where r.number = "
               "(select max(l.number) from run l where l.port = :port and exists "
               "(select 1 from check_result where run = l.number and position > 0)) "
               "and c.kind = 'touch' and c.status is null and c.result in ('FAIL', 'ABORTED')",
            into(unit), use(port, "port");
        isGivenUp = sql.got_data();
    });
    if (!isGivenUp) {
        return "";
    }
    return "; the last touch test on this port" + (unit.empty() ? "" : ", of unit " + unit) +
           ", was given up: the board stays deaf until somebody touches its screen";
}

}  // namespace Station
