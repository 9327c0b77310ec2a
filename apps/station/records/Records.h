// The station's own records: what it is told of its runs, it keeps.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/station/records/Database.h"
#include "apps/station/records/RunLocks.h"

namespace Station {

/// One SQLite database, for all units that a program tests at once; any thread may call.
class Records {
public:
    /// Opens the database in that file.
    /// @throws RecordError
    explicit Records(const std::string& file);

    /// Has this called whenever a run has ended, on the thread of that run; to be set before the first one begins.
    void OnEnded(std::function<void()> called) { m_onEnded = std::move(called); }
    /// A sink that keeps one run after the other.
    std::unique_ptr<RecordSink> NewSink();

    /// Gives a verdict to the runs in which the station itself was ended, and returns them, without their checks.
    std::vector<RunRecord> CloseInterrupted();
    /// When this unit passed last.
    std::optional<std::chrono::system_clock::time_point> LastPass(const std::string& unit);
    /// How long the last passed runs of a plan took, at most `most`, the newest first; `sha256` is that of its text.
    std::vector<Seconds> PassDurations(const std::string& sha256, int most);
    /// What a touch test that was given up on this port means for the next run; nothing when there is none.
    std::string Suspicion(const std::string& port);

private:
    class Sink;

    std::mutex m_mutex;
    Database m_database;
    RunLocks m_locks;
    std::function<void()> m_onEnded = [] {};
};

}  // namespace Station
