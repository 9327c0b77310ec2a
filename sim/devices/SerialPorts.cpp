// Serial ports of the simulated board whose far ends others open.
#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"
#include "sim/devices/PseudoTerminal.h"

namespace Sim {

namespace {

constexpr auto STATION_PORT = "/dev/ttyS0";

/// The number of the pseudo-terminal that the descriptor is the board's end of, or -1.
int Number(int fd)
{
    static auto* const next = Next<int(int, unsigned long, ...)>("ioctl");
    unsigned int number = 0;
    return next(fd, TIOCGPTN, &number) == 0 ? static_cast<int>(number) : -1;
}

/// In bits per second; -1 for a speed that no serial port of the board has.
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

/// Settings as in "115200 8N1" or "9600 7E2 rts/cts".
std::string Text(const termios& line)
{
    return std::to_string(Speed(line)) + ' ' + std::to_string(DataBits(line.c_cflag)) + Parity(line.c_cflag) +
           ((line.c_cflag & CSTOPB) != 0 ? '2' : '1') + ((line.c_cflag & CRTSCTS) != 0 ? " rts/cts" : "");
}

/// Replaces a file atomically: nobody ever reads half of it.
void Replace(const std::string& path, const std::string& text)
{
    static auto* const rename = Next<int(const char*, const char*)>("rename");
    const std::string fresh = path + ".new";
    const int fd = Real::Open(fresh, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || Real::Write(fd, text.data(), text.size()) < 0 || rename(fresh.c_str(), path.c_str()) != 0) {
        std::fprintf(stderr, "simboard: cannot write %s\n", path.c_str());
    }
    Real::Close(fd);
}

/// The serial ports, which exist whether the board is on or off.
class Ports : public Device {
public:
    void Reset() override;
    [[nodiscard]] bool Owns(const std::string& path) const override;
    [[nodiscard]] std::string Behind(const std::string& path) const override;
    int Open(const std::string& path, int flags, mode_t mode) override;

    void Add(const std::string& path, int boardEnd);
    void Remove(const std::string& path);
    void Applied(int fd, const termios& line);
    std::optional<termios> AppliedLine();
    void LineToFile(const std::string& path);

private:
    mutable std::mutex m_mutex;
    std::map<std::string, int> m_boardEnds;
    std::optional<termios> m_line;
    std::string m_settings;  // the file with the settings of the station's port
};

void Ports::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_line.reset();
}

bool Ports::Owns(const std::string& path) const
{
    const std::lock_guard lock(m_mutex);
    return path == STATION_PORT || m_boardEnds.count(path) != 0;
}

std::string Ports::Behind(const std::string& path) const
{
    const std::lock_guard lock(m_mutex);
    return Node::Standing(m_boardEnds.count(path) != 0);
}

int Ports::Open(const std::string& path, int flags, mode_t /*mode*/)
{
    const std::lock_guard lock(m_mutex);
    const auto port = m_boardEnds.find(path);
    if (port == m_boardEnds.end()) {
        return -ENOENT;
    }
    const int fd = fcntl(port->second, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, 0);
    if (fd >= 0 && (flags & O_NONBLOCK) != 0) {
        fcntl(fd, F_SETFL, O_NONBLOCK);  // shared by all who have the port open, so never cleared
    }
    return fd < 0 ? -errno : fd;
}

void Ports::Add(const std::string& path, int boardEnd)
{
    const std::lock_guard lock(m_mutex);
    m_boardEnds[path] = boardEnd;
}

void Ports::Remove(const std::string& path)
{
    const std::lock_guard lock(m_mutex);
    m_boardEnds.erase(path);
}

/// The descriptor may come from an earlier process. The number of its pseudo-terminal tells which port it is.
void Ports::Applied(int fd, const termios& line)
{
    const std::lock_guard lock(m_mutex);
    m_line = line;
    const auto port = m_boardEnds.find(STATION_PORT);
    if (m_settings.empty() || port == m_boardEnds.end() || Number(fd) != Number(port->second)) {
        return;
    }
    Replace(m_settings, Text(line) + '\n');
}

std::optional<termios> Ports::AppliedLine()
{
    const std::lock_guard lock(m_mutex);
    return m_line;
}

void Ports::LineToFile(const std::string& path)
{
    const std::lock_guard lock(m_mutex);
    m_settings = path;
}

Ports& ThePorts()
{
    static Ports& ports = *new Ports;  // never destroyed: files are opened until the very end of the process
    return ports;
}

}  // namespace

Device& SerialPorts()
{
    return ThePorts();
}

SerialPort::SerialPort(const std::string& device) : m_device(device), m_line(std::make_unique<PseudoTerminal>())
{
    ThePorts().Add(m_device, BoardFd());
}

SerialPort::SerialPort(const std::string& device, int boardFd)
    : m_device(device), m_line(std::make_unique<PseudoTerminal>(boardFd))
{
    ThePorts().Add(m_device, boardFd);
}

SerialPort::~SerialPort()
{
    ThePorts().Remove(m_device);
}

const std::string& SerialPort::StationPath() const
{
    return m_line->Path();
}

int SerialPort::BoardFd() const
{
    return m_line->Controller();
}

void LineApplied(int fd, const termios& line)
{
    ThePorts().Applied(fd, line);
}

std::optional<termios> AppliedLine()
{
    return ThePorts().AppliedLine();
}

void LineToFile(const std::string& path)
{
    ThePorts().LineToFile(path);
}

}  // namespace Sim
