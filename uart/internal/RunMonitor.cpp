// Tracks which thread executes a body, and waits for its end.
#include "uart/internal/RunMonitor.h"

namespace UART {

RunMonitor::Scope::Scope(RunMonitor& monitor) : m_monitor(monitor)
{
    const std::lock_guard lock(m_monitor.m_mutex);
    m_monitor.m_inside = std::this_thread::get_id();
}

RunMonitor::Scope::~Scope()
{
    // Notified under the lock: the monitor may be gone as soon as the lock is released.
    const std::lock_guard lock(m_monitor.m_mutex);
    m_monitor.m_inside = {};
    --m_monitor.m_runs;
    m_monitor.m_ended.notify_all();
}

void RunMonitor::Announce()
{
    const std::lock_guard lock(m_mutex);
    ++m_runs;
}

void RunMonitor::Withdraw()
{
    const std::lock_guard lock(m_mutex);
    --m_runs;
}

bool RunMonitor::IsInside()
{
    const std::lock_guard lock(m_mutex);
    return m_inside == std::this_thread::get_id();
}

void RunMonitor::WaitForEnd()
{
    std::unique_lock lock(m_mutex);
    if (m_inside != std::this_thread::get_id()) {
        m_ended.wait(lock, [this] { return m_runs == 0; });
    }
}

}  // namespace UART
