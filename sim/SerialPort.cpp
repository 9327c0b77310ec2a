// Serial ports of the simulated board.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"
#include "sim/PseudoTerminal.h"

namespace Sim {

namespace {

struct Ports {
    std::mutex mutex;
    std::map<std::string, int> boardEnds;
    std::string settings;  // the file that tells those of the station's port
};

Ports& ThePorts()
{
    static Ports& ports = *new Ports;  // never destroyed: files are opened until the very end of the process
    return ports;
}

/// The number of the pseudo-terminal that the descriptor is the board's end of, or -1.
int Number(int fd)
{
    unsigned int number = 0;
    return ioctl(fd, TIOCGPTN, &number) == 0 ? static_cast<int>(number) : -1;
}

/// In bits per second.
int Speed(const termios& line)
{
    constexpr std::pair<speed_t, int> SPEEDS[] = {
        {B0, 0},           {B50, 50},         {B75, 75},         {B110, 110},         {B134, 134},
        {B150, 150},       {B200, 200},       {B300, 300},       {B600, 600},         {B1200, 1200},
        {B1800, 1800},     {B2400, 2400},     {B4800, 4800},     {B9600, 9600},       {B19200, 19200},
        {B38400, 38400},   {B57600, 57600},   {B115200, 115200}, {B230400, 230400},   {B460800, 460800},
        {B500000, 500000}, {B576000, 576000}, {B921600, 921600}, {B1000000, 1000000},
    };
    const auto* const found = std::find_if(std::begin(SPEEDS), std::end(SPEEDS),
                                           [&](const auto& speed) { return speed.first == cfgetospeed(&line); });
    return found == std::end(SPEEDS) ? -1 : found->second;
}

char Parity(tcflag_t flags)
{
    if ((flags & PARENB) == 0) {
        return 'N';
    }
    return (flags & PARODD) != 0 ? 'O' : 'E';
}

int DataBits(tcflag_t flags)
{
    switch (flags & CSIZE) {
    case CS5:
        return 5;
    case CS6:
        return 6;
    case CS7:
        return 7;
    default:
        return 8;
    }
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

void LineToFile(const std::string& path)
{
    const std::lock_guard lock(ThePorts().mutex);
    ThePorts().settings = path;
}

void TellLine(int fd, const termios& line)
{
    const std::lock_guard lock(ThePorts().mutex);
    const auto port = ThePorts().boardEnds.find(STATION_PORT);
    if (ThePorts().settings.empty() || port == ThePorts().boardEnds.end() || Number(fd) != Number(port->second)) {
        return;
    }
    const std::string fresh = ThePorts().settings + ".new";  // so that a reader never sees half a line
    std::ofstream(fresh) << Speed(line) << ' ' << DataBits(line.c_cflag) << Parity(line.c_cflag)
                         << ((line.c_cflag & CSTOPB) != 0 ? 2 : 1)
                         << ((line.c_cflag & CRTSCTS) != 0 ? " rts/cts\n" : "\n");
    if (std::rename(fresh.c_str(), ThePorts().settings.c_str()) != 0) {
        std::perror(("simboard: " + ThePorts().settings).c_str());
    }
}

}  // namespace Sim
