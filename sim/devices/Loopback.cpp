// "/dev/ttyS1" of the simulated board: a serial port with a loopback plug, so that what the board sends comes back.
#include <algorithm>
#include <csignal>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

#include "sim/Device.h"
#include "sim/Real.h"
#include "sim/devices/PseudoTerminal.h"

namespace Sim {

namespace {

constexpr int LATE_MS = 1500;
constexpr ssize_t CUT_SIZE = 4;

class LoopbackPort : public Node {
public:
    LoopbackPort() : Node("/dev/ttyS1", "serial-missing", "the second serial port does not exist") {}

    void Reset() override;
    void PowerOn() override;

protected:
    int OpenNode(int flags) override;

private:
    // The thread of the plug:
    void Run() const;
    [[nodiscard]] bool IsStopped(int waitMs) const;
    void Echo() const;

    DeviceFault m_unplugged{*this, "loopback-unplugged", "nothing comes back on the second serial port"};
    DeviceFault m_cut{*this, "loopback-cut", "only the first 4 bytes come back on the second serial port"};
    DeviceFault m_late{*this, "loopback-late", "what comes back on the second serial port is 1.5 seconds late"};
    DeviceFault m_garbled{*this, "loopback-garbled", "what comes back on the second serial port has wrong bits"};

    std::mutex m_mutex;
    std::unique_ptr<PseudoTerminal> m_line;  // this and what follows only while the board is on
    int m_stop = -1;
    std::thread m_thread;
};

void LoopbackPort::PowerOn()
{
    const std::lock_guard lock(m_mutex);
    m_line = std::make_unique<PseudoTerminal>();
    m_stop = eventfd(0, EFD_CLOEXEC);
    if (m_stop < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    // The program's signals are not for this thread.
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    m_thread = std::thread(&LoopbackPort::Run, this);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

void LoopbackPort::Reset()
{
    const std::lock_guard lock(m_mutex);
    if (m_thread.joinable()) {
        eventfd_write(m_stop, 1);
        m_thread.join();
        Real::Close(m_stop);
        m_line.reset();
    }
}

int LoopbackPort::OpenNode(int flags)
{
    const std::lock_guard lock(m_mutex);
    return m_line ? Real::Open(m_line->Path(), NodeFlags(flags) | (flags & O_NOCTTY)) : -ENOENT;
}

void LoopbackPort::Run() const
{
    while (!IsStopped(-1)) {
        Echo();
    }
}

/// True when the thread has to end. Waits for that up to `waitMs`; with a negative time, for that or for bytes to echo.
bool LoopbackPort::IsStopped(int waitMs) const
{
    pollfd events[] = {{m_stop, POLLIN, 0}, {m_line->Controller(), POLLIN, 0}};
    poll(events, waitMs < 0 ? 2 : 1, waitMs);
    return events[0].revents != 0;
}

void LoopbackPort::Echo() const
{
    unsigned char bytes[4096];
    ssize_t count = std::max<ssize_t>(Real::Read(m_line->Controller(), bytes, sizeof bytes), 0);
    if (m_unplugged || (m_late && IsStopped(LATE_MS))) {
        return;
    }
    if (m_garbled) {
        std::transform(bytes, bytes + count, bytes,
                       [](unsigned char byte) { return static_cast<unsigned char>(byte ^ 0x20U); });
    }
    if (m_cut) {
        count = std::min(count, CUT_SIZE);
    }
    for (ssize_t done = 0, more = 0; done < count; done += more) {
        more = Real::Write(m_line->Controller(), bytes + done, static_cast<std::size_t>(count - done));
        if (more <= 0) {
            return;  // the board does not read: the bytes are lost, as on a real line
        }
    }
}

}  // namespace

Device& Loopback()
{
    static LoopbackPort& port = *new LoopbackPort;  // its thread must not end with the program's statics
    return port;
}

}  // namespace Sim
