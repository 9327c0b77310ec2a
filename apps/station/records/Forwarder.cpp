// Copies runs to the database that several stations share.
#include "apps/station/records/Forwarder.h"

#include "apps/station/records/RunTables.h"

namespace Station {

namespace {

using soci::into;
using soci::use;

bool Has(soci::session& sql, const std::string& id)
{
    std::optional<Integer> number;
    sql << "select number from run where id = :id", into(number), use(id, "id");
    return number.has_value();
}

void Insert(soci::session& sql, const RunRecord& run, Integer ordinal, const std::optional<std::string>& judged)
{
    const Integer number = InsertRun(sql, run, ordinal);
    for (std::size_t i = 0; i < run.checks.size(); ++i) {
        InsertCheck(sql, number, i + 1, run, run.checks[i]);
    }
    sql << "update run set judged = :judged where number = :number", use(judged, "judged"), use(number, "number");
    CloseRun(sql, number, run);
}

}  // namespace

Forwarder::Forwarder(const Location& location, const std::atomic<bool>& stop, std::chrono::milliseconds limit)
    : m_location(location), m_stop(stop), m_limit(limit), m_own(Database::Sqlite(location.file))
{
}

void Forwarder::Send()
{
    try {
        if (!m_server) {
            Connect();
        }
        for (auto next = FindNext(); next && !m_stop; next = FindNext()) {
            const bool isNew = !IsOnServer(next->id) && Copy(*next);
            ++(isNew ? m_sent : m_found);
            Note(next->closed);
        }
    } catch (...) {
        m_server.reset();
        throw;
    }
}

long Forwarder::CountWaiting()
{
    Integer count = 0;
    m_own.Do([&](soci::session& sql) {
        sql << "select count(*) from run where closed > (select coalesce(max(closed), 0) from forwarded "
               "where server = :server or :server = '')",
            into(count), use(m_serverId, "server");
    });
    return static_cast<long>(count);
}

void Forwarder::Connect()
{
    m_server.emplace(Database::Postgres(m_location.server, m_stop, m_limit));
    m_serverId = m_server->Id();
    std::optional<Integer> noted;
    m_own.Do([&](soci::session& sql) {
        sql << "select closed from forwarded where server = :server", into(noted), use(m_serverId, "server");
    });
    m_closed = noted.value_or(0);
    if (m_startsOver || (noted && HasLostRuns(*noted))) {
        m_own.Write([&](soci::session& sql) {
            sql << "update forwarded set closed = 0 where server = :server", use(m_serverId, "server");
        });
        m_closed = 0;
    }
    m_startsOver = false;
}

bool Forwarder::HasLostRuns(Integer closed)
{
    std::string id;
    m_own.Do([&](soci::session& sql) {
        sql << "select id from run where closed = :closed", into(id), use(closed, "closed");
    });
    return !IsOnServer(id);
}

std::optional<Forwarder::Next> Forwarder::FindNext()
{
    Next next;
    bool isThere = false;
    m_own.Do([&](soci::session& sql) {
        sql << "select number, id, ordinal, judged, closed from run where closed > :closed order by closed limit 1",
            into(next.number), into(next.id), into(next.ordinal), into(next.judged), into(next.closed),
            use(m_closed, "closed");
        isThere = sql.got_data();
    });
    return isThere ? std::optional(next) : std::nullopt;
}

bool Forwarder::IsOnServer(const std::string& id)
{
    bool isThere = false;
    m_server->Do([&](soci::session& sql) { isThere = Has(sql, id); });
    return isThere;
}

/// False when the server has it meanwhile.
bool Forwarder::Copy(const Next& next)
{
    RunRecord run;
    m_own.Read([&](soci::session& sql) { run = LoadRun(sql, next.number); });
    bool isNew = false;
    m_server->Write([&](soci::session& sql) {
        isNew = !Has(sql, run.id);
        if (isNew) {
            Insert(sql, run, next.ordinal, next.judged);
        }
    });
    return isNew;
}

void Forwarder::Note(Integer closed)
{
    m_own.Write([&](soci::session& sql) {
        sql << "insert into forwarded (server, closed) values (:server, :closed) "
               "on conflict (server) do update set closed = max(forwarded.closed, excluded.closed)",
            use(m_serverId, "server"), use(closed, "closed");
    });
    m_closed = closed;
}

}  // namespace Station
