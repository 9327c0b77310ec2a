// Serial ports of the simulated board.
#include <map>
#include <mutex>

#include <fcntl.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"
#include "sim/PseudoTerminal.h"

namespace Sim {

namespace {

struct Ports {
    std::mutex mutex;
    std::map<std::string, int> boardEnds;
};

Ports& ThePorts()
{
    static Ports& ports = *new Ports;  // never destroyed: files are opened until the very end of the process
    return ports;
}

}  // namespace

SerialPort::SerialPort(const std::string& device) : m_device(device), m_line(std::make_unique<PseudoTerminal>())
{
    Announce();
}

SerialPort::SerialPort(const std::string& device, int boardFd)
    : m_device(device), m_line(std::make_unique<PseudoTerminal>(boardFd))
{
    Announce();
}

void SerialPort::Announce() const
{
    const std::lock_guard lock(ThePorts().mutex);
    ThePorts().boardEnds[m_device] = m_line->Controller();
}

SerialPort::~SerialPort()
{
    const std::lock_guard lock(ThePorts().mutex);
    ThePorts().boardEnds.erase(m_device);
}

const std::string& SerialPort::StationPath() const
{
    return m_line->Path();
}

int SerialPort::BoardFd() const
{
    return m_line->Controller();
}

std::optional<int> OpenPort(const std::string& path, int flags)
{
    const std::lock_guard lock(ThePorts().mutex);
    const auto port = ThePorts().boardEnds.find(path);
    if (port == ThePorts().boardEnds.end()) {
        return std::nullopt;
    }
    const int fd = fcntl(port->second, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
    if (fd >= 0 && (flags & O_NONBLOCK) != 0) {
        fcntl(fd, F_SETFL, O_NONBLOCK);  // of everybody who has the port open: never taken back
    }
    return fd;
}

}  // namespace Sim
