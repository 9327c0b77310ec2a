// The serial line to the test station.
#include "apps/testapp/Line.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>

namespace TestApp {

namespace {

constexpr int RETRY_MS = 1000;

}  // namespace

Line::Line(UART::CUARTMgr& manager, LineSettings settings) : m_manager(manager), m_settings(std::move(settings)) {}

std::string Line::Open()
{
    m_watch.Reset(open(m_settings.port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!m_watch.IsValid()) {
        return std::strerror(errno);
    }
    // The manager would open any file as a serial port and write frames into it.
    if (isatty(m_watch.Get()) == 0) {
        m_watch.Reset();
        return "it is not a serial port";
    }
    if (m_manager.Open(m_settings.port, m_settings.baud, m_settings.dataBits, m_settings.stopBits, m_settings.parity,
                       m_settings.flowControl) != 0) {
        m_watch.Reset();
        return "the link to the station does not start";
    }
    return "";
}

void Line::Keep(int end)
{
    while (AwaitHangUp(end)) {
        std::fprintf(stderr, "testapp: the line on %s is gone\n", m_settings.port.c_str());
        // A check in progress still answers on the line that is gone. So a late reply never reaches the next line.
        m_manager.Close();
        m_watch.Reset();
        if (!OpenAgain(end)) {
            return;
        }
        std::printf("testapp: the line on %s is back\n", m_settings.port.c_str());
    }
}

/// True when the line is gone, false when `end` is readable.
bool Line::AwaitHangUp(int end) const
{
    pollfd watched[] = {{end, POLLIN, 0}, {m_watch.Get(), 0, 0}};
    while (watched[0].revents == 0 && watched[1].revents == 0) {
        poll(watched, 2, -1);
    }
    return watched[0].revents == 0;
}

/// True when the port is open again, false when `end` is readable.
bool Line::OpenAgain(int end)
{
    pollfd watched = {end, POLLIN, 0};
    do {
        if (poll(&watched, 1, RETRY_MS) > 0) {
            return false;
        }
    } while (!Open().empty());
    return true;
}

}  // namespace TestApp
