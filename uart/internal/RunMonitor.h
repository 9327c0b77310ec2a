// Tracks which thread executes a body, and waits for its end.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace UART {

/// Counts the runs of a thread's body, from before the thread is started to the end of the body. Any thread may call
/// it.
class RunMonitor {
public:
    /// Marks the calling thread as the one that executes the body. The body destroys it last: whoever waits may then
    /// destroy the monitor.
    class Scope {
    public:
        explicit Scope(RunMonitor& monitor);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        RunMonitor& m_monitor;
    };

    /// A thread is about to be started.
    void Announce();
    /// The announced thread could not be started.
    void Withdraw();

    /// True on the thread that executes the body.
    bool IsInside();
    /// Returns once no run is announced or in progress; at once on the thread that executes the body.
    void WaitForEnd();

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    int m_runs = 0;            // announced or in progress
    std::thread::id m_inside;  // who executes the body
};

}  // namespace UART
