// Serial ports of the simulated board.
#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>
#include <system_error>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "sim/Intercept.h"

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

int Checked(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

}  // namespace

// The board holds the controlling side of the pseudo-terminal. Its far end stays open here, so that the line never
// hangs up.
SerialPort::SerialPort(const std::string& device) : m_device(device)
{
    m_board = Checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
    Checked(unlockpt(m_board), "unlockpt");
    char path[64];
    Checked(-ptsname_r(m_board, path, sizeof path), "ptsname_r");
    m_stationPath = path;
    static auto* const open = Next<int(const char*, int, ...)>("open");
    static auto* const apply = Next<int(int, int, const termios*)>("tcsetattr");
    m_station = Checked(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC), path);
    termios line = {};
    Checked(tcgetattr(m_station, &line), "tcgetattr");
    cfmakeraw(&line);
    Checked(apply(m_station, TCSANOW, &line), "tcsetattr");

    const std::lock_guard lock(ThePorts().mutex);
    ThePorts().boardEnds[m_device] = m_board;
}

SerialPort::~SerialPort()
{
    const std::lock_guard lock(ThePorts().mutex);
    ThePorts().boardEnds.erase(m_device);
    static auto* const close = Next<int(int)>("close");
    close(m_board);
    close(m_station);
}

std::optional<int> OpenDevice(const char* path, int flags)
{
    const std::lock_guard lock(ThePorts().mutex);
    const auto port = ThePorts().boardEnds.find(path);
    if (port == ThePorts().boardEnds.end()) {
        return std::nullopt;
    }
    const int fd = fcntl(port->second, F_DUPFD, 0);
    if (fd >= 0) {
        fcntl(fd, F_SETFL, flags & O_NONBLOCK);
    }
    return fd;
}

}  // namespace Sim
