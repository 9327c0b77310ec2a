// The framework's thread.
#pragma once

#include <atomic>
#include <memory>
#include <thread>

/// Threads.
namespace Ostrel::Service {

/// Base of classes that do their work on a thread of their own. `Start`, `Stop(true)` and destruction belong to one
/// owner at a time, which is not the thread itself; `Stop(false)` and `IsStop` may be called from any thread.
class Thread {
public:
    Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    /// Does not wait: a class that derives from this one makes sure that `Run` is over before it is destroyed.
    virtual ~Thread();

    /// Starts a thread that calls `Run`, and clears the stop flag before it returns. First waits for an earlier thread
    /// that has been told to stop. Non-zero when the thread was started; 0 when the system refuses another thread, or
    /// the earlier one is still at work. An exception that leaves `Run` is reported on standard error and ends that
    /// thread only.
    int Start();

    /// Sets the stop flag, which `Run` has to look at; with `wait`, returns once the thread has ended.
    void Stop(bool wait);

    /// True once the thread has been told to stop or has ended, until the next `Start`.
    [[nodiscard]] bool IsStop() const { return *m_stop; }

    /// The work of the thread; the result is not used.
    virtual int Run() = 0;

private:
    // Shared with the thread, which sets it after `Run`, when the object may be gone.
    std::shared_ptr<std::atomic<bool>> m_stop;
    std::thread m_thread;
};

}  // namespace Ostrel::Service
