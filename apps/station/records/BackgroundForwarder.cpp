// Forwards runs while units are tested.
#include "apps/station/records/BackgroundForwarder.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <utility>

namespace Station {

namespace {

using std::chrono::seconds;

/// Signals are for the threads that were there before.
std::thread StartWithoutSignals(const std::function<void()>& work)
{
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    try {
        std::thread thread(work);
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
        return thread;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
        throw;
    }
}

}  // namespace

BackgroundForwarder::BackgroundForwarder(const Location& location, Records& records, const std::atomic<bool>& stop,
                                         Tell tell)
    : m_stop(stop),
      m_server(location.server),
      m_tell(std::move(tell)),
      m_forwarder(location, m_isCut),
      m_thread(StartWithoutSignals([this] { Run(); }))
{
    records.OnEnded([this] { Wake(); });
}

BackgroundForwarder::~BackgroundForwarder()
{
    AwaitEnd();
    m_isCut = true;
    m_thread.join();
    TellWaiting();
}

void BackgroundForwarder::Wake()
{
    const std::lock_guard lock(m_mutex);
    m_isWoken = true;
    m_onChange.notify_all();
}

void BackgroundForwarder::Run()
{
    constexpr seconds LONGEST_PAUSE(30);
    seconds pause(1);
    std::unique_lock lock(m_mutex);
    bool goesOn = true;
    while (goesOn) {
        m_isWoken = false;
        lock.unlock();
        const bool isDone = Try();
        lock.lock();
        if (isDone) {
            pause = seconds(1);
            m_onChange.wait(lock, [this] { return m_isWoken || m_isEnding; });
            goesOn = m_isWoken;
        } else {
            goesOn = !m_onChange.wait_for(lock, pause, [this] { return m_isEnding; });
            pause = std::min(2 * pause, LONGEST_PAUSE);
        }
    }
    m_hasEnded = true;
    m_onChange.notify_all();
}

bool BackgroundForwarder::Try()
{
    try {
        m_forwarder.Send();
        if (std::exchange(m_isAway, false)) {
            m_tell("the runs that waited have been forwarded");
        }
        return true;
    } catch (const std::exception& error) {
        if (!std::exchange(m_isAway, true)) {
            m_tell(std::string("runs are not forwarded for now: ") + error.what());
        }
        return false;
    }
}

void BackgroundForwarder::AwaitEnd()
{
    constexpr seconds LIMIT(5);
    constexpr seconds STOPPED_LIMIT(1);
    constexpr std::chrono::milliseconds LOOK(50);  // between two looks at the stop flag
    const auto begin = std::chrono::steady_clock::now();
    std::unique_lock lock(m_mutex);
    m_isEnding = true;
    m_onChange.notify_all();
    while (!m_hasEnded && std::chrono::steady_clock::now() < begin + (m_stop ? STOPPED_LIMIT : LIMIT)) {
        m_onChange.wait_for(lock, LOOK);
    }
}

void BackgroundForwarder::TellWaiting()
{
    try {
        const long waiting = m_forwarder.CountWaiting();
        if (waiting > 0) {
            m_tell(std::to_string(waiting) + (waiting == 1 ? " run waits" : " runs wait") +
                   " to be forwarded: station forward --records '" + m_server + "'");
        }
    } catch (const std::exception& error) {
        m_tell(error.what());
    }
}

}  // namespace Station
