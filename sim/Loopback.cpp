// The loopback plug on the second serial port of the simulated board: what the board sends comes back.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"
#include "sim/PseudoTerminal.h"

namespace Sim {

namespace {

constexpr int LATE_MS = 1500;
constexpr ssize_t CUT_SIZE = 4;

class Loopback {
public:
    Loopback() : m_stop(eventfd(0, EFD_CLOEXEC))
    {
        if (m_stop < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
        Redirect(LOOPBACK_PORT, m_line.Path());
        // The program's signals are not for this thread.
        sigset_t all;
        sigset_t former;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former);
        m_thread = std::thread(&Loopback::Run, this);
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
    }
    ~Loopback()
    {
        eventfd_write(m_stop, 1);
        m_thread.join();
        static auto* const close = Next<int(int)>("close");
        close(m_stop);
    }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

private:
    void Run() const
    {
        while (!IsStopped(-1)) {
            Echo();
        }
    }

    /// True when the plug is to be pulled; waits for that or, without a time, for something to echo.
    [[nodiscard]] bool IsStopped(int waitMs) const
    {
        pollfd events[] = {{m_stop, POLLIN, 0}, {m_line.Controller(), POLLIN, 0}};
        poll(events, waitMs < 0 ? 2 : 1, waitMs);
        return events[0].revents != 0;
    }

    void Echo() const
    {
        static auto* const read = Next<ssize_t(int, void*, std::size_t)>("read");
        static auto* const write = Next<ssize_t(int, const void*, std::size_t)>("write");
        unsigned char bytes[4096];
        ssize_t count = std::max<ssize_t>(read(m_line.Controller(), bytes, sizeof bytes), 0);
        if (HasFault("loopback-unplugged") || (HasFault("loopback-late") && IsStopped(LATE_MS))) {
            return;
        }
        if (HasFault("loopback-garbled")) {
            std::transform(bytes, bytes + count, bytes,
                           [](unsigned char byte) { return static_cast<unsigned char>(byte ^ 0x20U); });
        }
        if (HasFault("loopback-cut")) {
            count = std::min(count, CUT_SIZE);
        }
        for (ssize_t done = 0, more = 0; done < count; done += more) {
            more = write(m_line.Controller(), bytes + done, static_cast<std::size_t>(count - done));
            if (more <= 0) {
                return;  // the board does not read: what comes in is lost, as on a real line
            }
        }
    }

    PseudoTerminal m_line;
    int m_stop;
    std::thread m_thread;
};

std::unique_ptr<Loopback>& ThePlug()
{
    static auto& plug = *new std::unique_ptr<Loopback>;  // its thread must not end with the program's statics
    return plug;
}

}  // namespace

void PlugLoopback()
{
    ThePlug() = std::make_unique<Loopback>();
}

void UnplugLoopback()
{
    ThePlug().reset();
}

}  // namespace Sim
