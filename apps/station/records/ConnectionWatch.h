// Ends what waits for a server too long, or in vain.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace Station {

/// The client library of PostgreSQL waits for an answer without a limit. From a thread of its own this shuts the
/// connection's socket down, which ends such a wait with an error.
class ConnectionWatch {
public:
    /// While an operation is in progress the connection is ended when `stop` is set, and after `limit`. It outlives
    /// this object, and so does the flag.
    ConnectionWatch(int socket, const std::atomic<bool>& stop, std::chrono::milliseconds limit);
    ~ConnectionWatch();
    ConnectionWatch(const ConnectionWatch&) = delete;
    ConnectionWatch& operator=(const ConnectionWatch&) = delete;

    void Begin();
    void End();
    [[nodiscard]] bool HasEndedConnection() const { return m_hasEnded; }

private:
    using Clock = std::chrono::steady_clock;

    void Run();

    const int m_socket;
    const std::atomic<bool>& m_stop;
    const std::chrono::milliseconds m_limit;
    std::atomic<bool> m_hasEnded{false};
    std::mutex m_mutex;  ///< guards what follows
    std::condition_variable m_onChange;
    std::optional<Clock::time_point> m_deadline;  ///< of the operation in progress
    bool m_isOver = false;
    std::thread m_thread;
};

}  // namespace Station
