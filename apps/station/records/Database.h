// A connection to a database of records, its schema brought up to date.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <soci/soci.h>

#include "apps/station/records/ConnectionWatch.h"
#include "apps/station/records/Location.h"
#include "apps/station/run/Record.h"

/// An optional value is a column that may be null.
template <typename Held>
struct soci::type_conversion<std::optional<Held>> {
    using base_type = typename soci::type_conversion<Held>::base_type;

    static void from_base(const base_type& in, soci::indicator indicator, std::optional<Held>& out)
    {
        out.reset();
        if (indicator != soci::i_null) {
            soci::type_conversion<Held>::from_base(in, indicator, out.emplace());
        }
    }
    static void to_base(const std::optional<Held>& in, base_type& out, soci::indicator& indicator)
    {
        indicator = soci::i_null;
        if (in) {
            soci::type_conversion<Held>::to_base(*in, out, indicator);
        }
    }
};

namespace Station {

/// Of columns: SQLite's and PostgreSQL's 64-bit integers. SOCI exchanges them as this type.
using Integer = long long;

/// One connection, for one thread at a time. Everything that it is asked for fails with RecordError, which names the
/// database.
class Database {
public:
    /// The SQLite database in that file, which is made if there is none, with its folder. What is committed is durable:
    /// it is written ahead, and each commit waits for the disk.
    static Database Sqlite(const std::string& file);
    /// The PostgreSQL database of that URL. Connecting takes at most 5 s for each address of its host.
    static Database Postgres(const std::string& url);
    /// The same; what it is asked for fails when it takes longer than `limit`, and as soon as `stop` is set, which
    /// outlives this object. The connection is of no use then.
    static Database Postgres(const std::string& url, const std::atomic<bool>& stop, std::chrono::milliseconds limit);
    /// The one that is to be asked: the server, if there is one, or else a file that is there already.
    static Database Existing(const Location& where);

    [[nodiscard]] bool IsSqlite() const { return m_isSqlite; }
    /// File or URL.
    [[nodiscard]] const std::string& Name() const { return m_name; }
    /// Its own UUID, given when it was made.
    [[nodiscard]] const std::string& Id() const { return m_id; }

    /// Lets the function work with the connection.
    void Do(const std::function<void(soci::session&)>& work);
    /// The same for what only reads: all of it as of one moment, whoever writes in between.
    void Read(const std::function<void(soci::session&)>& work);
    /// The same in one transaction, which nobody else writes in between; it is undone when the function throws.
    void Write(const std::function<void(soci::session&)>& work);

private:
    Database(const std::string& name, bool isSqlite);
    void Open(const soci::backend_factory& factory, const std::string& parameters);
    void Prepare();
    void Transact(const std::function<void(soci::session&)>& begin, const std::function<void(soci::session&)>& work);
    void BeginWrite(soci::session& sql) const;

    std::unique_ptr<soci::session> m_session;
    std::unique_ptr<ConnectionWatch> m_watch;  ///< gone before the connection is closed
    std::string m_name;
    bool m_isSqlite;
    std::string m_id;
};

}  // namespace Station
