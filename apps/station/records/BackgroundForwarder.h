// Forwards runs while units are tested.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "apps/station/records/Forwarder.h"
#include "apps/station/records/Records.h"

namespace Station {

/// A thread that sends each run as it ends, and tries again, after 1 to 30 seconds, while the server is away. Nothing
/// waits for it but the end of its life.
class BackgroundForwarder {
public:
    using Tell = std::function<void(const std::string& message)>;

    /// Begins with what earlier runs have left. `tell` is told when the server is away and when it is back, on any
    /// thread.
    /// @throws RecordError when the station's own database cannot be opened
    BackgroundForwarder(const Location& location, Records& records, const std::atomic<bool>& stop, Tell tell);
    /// Sends what is left, for 5 seconds at most, or 1 when the stop flag is set, and not at all when the server is
    /// away; then tells how many runs wait. To be called when all runs have ended.
    ~BackgroundForwarder();
    BackgroundForwarder(const BackgroundForwarder&) = delete;
    BackgroundForwarder& operator=(const BackgroundForwarder&) = delete;

private:
    void Wake();
    void Run();
    bool Try();
    void AwaitEnd();
    void TellWaiting();

    const std::atomic<bool>& m_stop;
    const std::string m_server;
    const Tell m_tell;
    std::atomic<bool> m_isCut{false};  ///< no more time
    Forwarder m_forwarder;
    bool m_isAway = false;
    std::mutex m_mutex;  ///< guards what follows
    std::condition_variable m_onChange;
    bool m_isWoken = false;
    bool m_isEnding = false;
    bool m_hasEnded = false;
    std::thread m_thread;
};

}  // namespace Station
