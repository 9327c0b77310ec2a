// A connection to a database of records, its schema brought up to date.
#include "apps/station/records/Database.h"

#include <filesystem>
#include <system_error>

#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <unistd.h>

#include "apps/station/records/Schema.h"

namespace Station {

namespace {

/// One line, without the places in the database's libraries that a message comes through.
std::string Plain(std::string message)
{
    for (char& letter : message) {
        letter = letter == '\n' || letter == '\t' ? ' ' : letter;
    }
    for (const char* const end : {" while preparing ", " while executing "}) {
        message = message.substr(0, message.find(end));
    }
    const std::string general = "Cannot establish connection to the database. ";
    message = message.compare(0, general.size(), general) == 0 ? message.substr(general.size()) : message;
    const std::size_t place = message.find("::");
    if (place < message.find(' ') && message.find(": ", place) != std::string::npos) {
        message = message.substr(message.find(": ", place) + 2);
    }
    message.erase(message.find_last_not_of(' ') + 1);
    return message;
}

std::string WithLimits(const std::string& url)
{
    constexpr const char* LIMITS = "connect_timeout=5&tcp_user_timeout=10000";  // s, ms
    return url + (url.find('?') == std::string::npos ? '?' : '&') + LIMITS;
}

/// From construction to destruction an operation is watched, where somebody watches.
class Watched {
public:
    explicit Watched(ConnectionWatch* watch) : m_watch(watch)
    {
        if (m_watch != nullptr) {
            m_watch->Begin();
        }
    }
    ~Watched()
    {
        if (m_watch != nullptr) {
            m_watch->End();
        }
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

private:
    ConnectionWatch* m_watch;
};

}  // namespace

Database::Database(const std::string& name, bool isSqlite) : m_name(name), m_isSqlite(isSqlite) {}

Database Database::Sqlite(const std::string& file)
{
    constexpr const char* BUSY_SECONDS = "10";  // that another station may write in between
    Database database(file, true);
    std::error_code error;
    const bool isFolderNew = std::filesystem::create_directories(std::filesystem::path(file).parent_path(), error);
    if (file.find('"') != std::string::npos) {
        throw RecordError("the records cannot be in " + file + ": its name has a quotation mark");
    }
    database.Open(soci::sqlite3, "dbname=\"" + file + "\" timeout=" + BUSY_SECONDS);
    database.Do([](soci::session& sql) {
        IsUpToDate(sql, true);                      // throws: another program's file stays as it is
        sql << "pragma auto_vacuum = incremental";  // of a new one: prune gives space back
        sql << "pragma journal_mode = wal";
        sql << "pragma synchronous = extra";  // each commit waits for the disk
    });
    database.Prepare();
    if (isFolderNew) {
        sync();  // the folder's own entry
    }
    return database;
}

Database Database::Postgres(const std::string& url)
{
    Database database(url, false);
    database.Open(soci::postgresql, WithLimits(url));
    database.Prepare();
    return database;
}

Database Database::Postgres(const std::string& url, const std::atomic<bool>& stop, std::chrono::milliseconds limit)
{
    Database database(url, false);
    database.Open(soci::postgresql, WithLimits(url));
    const auto* const backend = static_cast<soci::postgresql_session_backend*>(database.m_session->get_backend());
    database.m_watch = std::make_unique<ConnectionWatch>(PQsocket(backend->conn_), stop, limit);
    database.Prepare();
    return database;
}

Database Database::Existing(const Location& where)
{
    if (!where.server.empty()) {
        return Postgres(where.server);
    }
    std::error_code error;
    const bool isThere = std::filesystem::exists(where.file, error);
    if (error) {
        throw RecordError("the records in " + where.file + " cannot be opened: " + error.message());
    }
    if (!isThere) {
        throw RecordError(where.file.empty() ? "--records none: there are none to ask"
                                             : "there are no records in " + where.file);
    }
    return Sqlite(where.file);
}

void Database::Open(const soci::backend_factory& factory, const std::string& parameters)
{
    try {
        m_session = std::make_unique<soci::session>(factory, parameters);
    } catch (const soci::soci_error& error) {
        throw RecordError("the records in " + m_name + " cannot be opened: " + Plain(error.get_error_message()));
    }
}

void Database::Prepare()
{
    if (!m_isSqlite) {
        Do([](soci::session& sql) { sql << "set jit = off"; });  // to compile a question takes longer than the answer
    }
    bool isUpToDate = false;
    Do([&](soci::session& sql) { isUpToDate = IsUpToDate(sql, m_isSqlite); });
    if (!isUpToDate) {
        Write([this](soci::session& sql) { BringUpToDate(sql, m_isSqlite); });
    }
    Do([this](soci::session& sql) { sql << "select value from testmode where name = 'id'", soci::into(m_id); });
}

void Database::Do(const std::function<void(soci::session&)>& work)
{
    const Watched watched(m_watch.get());
    try {
        work(*m_session);
    } catch (const soci::soci_error& error) {
        const bool isOurDoing = m_watch && m_watch->HasEndedConnection();
        throw RecordError("the records in " + m_name + ": " +
                          (isOurDoing ? "there was no answer in time" : Plain(error.get_error_message())));
    } catch (const RecordError& error) {
        throw RecordError("the records in " + m_name + ": " + error.what());
    }
}

void Database::Read(const std::function<void(soci::session&)>& work)
{
    const char* const begin = m_isSqlite ? "begin" : "begin isolation level repeatable read read only";
    Transact([begin](soci::session& sql) { sql << begin; }, work);
}

void Database::Write(const std::function<void(soci::session&)>& work)
{
    Transact([this](soci::session& sql) { BeginWrite(sql); }, work);
}

void Database::Transact(const std::function<void(soci::session&)>& begin,
                        const std::function<void(soci::session&)>& work)
{
    Do([&](soci::session& sql) {
        begin(sql);
        try {
            work(sql);
            sql << "commit";
        } catch (...) {
            try {
                sql << "rollback";
            } catch (const soci::soci_error&) {  // it has been undone already: the first error tells why
            }
            throw;
        }
    });
}

void Database::BeginWrite(soci::session& sql) const
{
    if (m_isSqlite) {
        sql << "begin immediate";
        return;
    }
    constexpr int OURS = 0x746D6F64;                // among those who take such locks
    sql << "begin isolation level read committed";  // to see what was committed while the lock was waited for
    sql << "set local idle_in_transaction_session_timeout = '60s'";  // a station that is gone gives the lock back
    sql << "select pg_advisory_xact_lock(:ours)", soci::use(OURS, "ours");
}

}  // namespace Station
