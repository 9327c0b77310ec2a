// Ends what waits for a server too long, or in vain.
#include "apps/station/records/ConnectionWatch.h"

#include <sys/socket.h>

namespace Station {

ConnectionWatch::ConnectionWatch(int socket, const std::atomic<bool>& stop, std::chrono::milliseconds limit)
    : m_socket(socket), m_stop(stop), m_limit(limit), m_thread([this] { Run(); })
{
}

ConnectionWatch::~ConnectionWatch()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
    }
    m_onChange.notify_one();
    m_thread.join();
}

void ConnectionWatch::Begin()
{
    const std::lock_guard lock(m_mutex);
    m_deadline = Clock::now() + m_limit;
    m_onChange.notify_one();
}

void ConnectionWatch::End()
{
    const std::lock_guard lock(m_mutex);
    m_deadline.reset();
}

void ConnectionWatch::Run()
{
    constexpr std::chrono::milliseconds LOOK(50);  // between two looks at the stop flag, which a signal may set
    std::unique_lock lock(m_mutex);
    while (!m_isOver) {
        if (!m_deadline) {
            m_onChange.wait(lock);
        } else if (m_stop || Clock::now() >= *m_deadline) {
            m_hasEnded = true;
            shutdown(m_socket, SHUT_RDWR);
            m_deadline.reset();
        } else {
            m_onChange.wait_for(lock, LOOK);
        }
    }
}

}  // namespace Station
