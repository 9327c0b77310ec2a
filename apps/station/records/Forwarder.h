// Copies runs to the database that several stations share.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

#include "apps/station/records/Database.h"
#include "apps/station/records/Location.h"

namespace Station {

/// Sends the runs of a station that have ended, in the order in which they ended, each in one transaction. The
/// station's own database notes, for each server, how far that has them; but what counts is the run's UUID: a run that
/// the server has is left as it is. So each run arrives exactly once, also when the answer to a commit is lost, when
/// the note is older than the server, and when two programs forward the same runs. For one thread.
class Forwarder {
public:
    static constexpr std::chrono::seconds LIMIT{30};  ///< for one run

    /// Opens the station's own database. What is in progress ends when `stop` is set, which outlives this object.
    /// @throws RecordError
    Forwarder(const Location& location, const std::atomic<bool>& stop, std::chrono::milliseconds limit = LIMIT);

    /// Sends what the server does not have, until nothing is left or the stop flag is set. A server that does not have
    /// the last run that was noted has lost some, and is given all that it misses.
    /// @throws RecordError when that does not succeed; the next call connects anew
    void Send();
    /// Has the next Send() look for all runs on the server, not only for those that are not noted.
    void StartOver() { m_startsOver = true; }

    /// Runs that have ended and are not noted. Of a server that was not reached yet, those that no server has.
    long CountWaiting();
    [[nodiscard]] long Sent() const { return m_sent; }
    /// Runs that the server had already.
    [[nodiscard]] long Found() const { return m_found; }

private:
    struct Next {
        Integer number = 0;
        std::string id;
        Integer ordinal = 0;
        std::optional<std::string> judged;
        Integer closed = 0;
    };

    void Connect();
    bool HasLostRuns(Integer closed);
    std::optional<Next> FindNext();
    bool IsOnServer(const std::string& id);
    bool Copy(const Next& next);
    void Note(Integer closed);

    const Location m_location;
    const std::atomic<bool>& m_stop;
    const std::chrono::milliseconds m_limit;
    Database m_own;
    std::optional<Database> m_server;
    std::string m_serverId;
    Integer m_closed = 0;  ///< the server has the runs up to this one
    bool m_startsOver = false;
    long m_sent = 0;
    long m_found = 0;
};

}  // namespace Station
