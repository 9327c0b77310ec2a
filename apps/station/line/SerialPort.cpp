// The station's serial port: opened raw and for this program alone, closed with the object.
#include "apps/station/line/SerialPort.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

namespace Station {

namespace {

constexpr std::chrono::milliseconds WRITE_PATIENCE{2000};
constexpr std::size_t READ_SIZE = 4096;

speed_t SpeedCode(int baud)
{
    constexpr std::pair<int, speed_t> SPEEDS[] = {
        {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};
    for (const auto& [speed, code] : SPEEDS) {
        if (speed == baud) {
            return code;
        }
    }
    throw PortError("boards do not support " + std::to_string(baud) + " bit/s");
}

tcflag_t CharacterSize(int dataBits)
{
    constexpr std::array<tcflag_t, 4> SIZES = {CS5, CS6, CS7, CS8};
    return SIZES.at(static_cast<std::size_t>(dataBits - 5));
}

tcflag_t ControlFlags(const LineSettings& line)
{
    tcflag_t flags = CLOCAL | CREAD | CharacterSize(line.dataBits);
    if (line.stopBits == 2) {
        flags |= CSTOPB;
    }
    if (line.parity != "none") {
        flags |= PARENB;
    }
    if (line.parity == "odd") {
        flags |= PARODD;
    }
    if (line.flowControl == "hardware") {
        flags |= CRTSCTS;
    }
    return flags;
}

}  // namespace

SerialPort::SerialPort(const std::string& device, const LineSettings& line)
    : m_device(device), m_port(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    if (!m_port.IsValid()) {
        Fail("cannot open", errno);
    }
    SetUp(line);
}

void SerialPort::SetUp(const LineSettings& line)
{
    if (isatty(m_port.Get()) == 0) {
        throw PortError(m_device + " is not a serial port");
    }
    if (flock(m_port.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw PortError(m_device + " is in use by another program");
    }
    termios settings{};
    settings.c_iflag = IGNPAR;
    settings.c_cflag = ControlFlags(line);
    settings.c_cc[VMIN] = 1;  // so that a read of nothing is told from the end of the line
    if (cfsetspeed(&settings, SpeedCode(line.speed)) != 0 || tcsetattr(m_port.Get(), TCSANOW, &settings) != 0) {
        Fail("cannot set up", errno);
    }
    tcflush(m_port.Get(), TCIFLUSH);
}

void SerialPort::Write(const Bytes& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(m_port.Get(), bytes.data() + done, bytes.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            if (!WaitFor(POLLOUT, WRITE_PATIENCE)) {
                throw PortError(m_device + " takes no data; check the cable and the flow control");
            }
        } else if (errno != EINTR) {
            Fail("cannot write to", errno);
        }
    }
}

Bytes SerialPort::Read(std::chrono::milliseconds wait)
{
    if (!WaitFor(POLLIN, wait)) {
        return {};
    }
    Bytes bytes(READ_SIZE);
    const ssize_t count = read(m_port.Get(), bytes.data(), bytes.size());
    if (count == 0) {
        throw PortError(m_device + " is gone: the other end was closed or the adapter unplugged");
    }
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        Fail("cannot read from", errno);
    }
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

/// True when the event or the end of the line is there; false after the wait or a signal.
bool SerialPort::WaitFor(short event, std::chrono::milliseconds wait) const
{
    pollfd waiting{m_port.Get(), event, 0};
    return poll(&waiting, 1, static_cast<int>(wait.count())) > 0;
}

void SerialPort::Fail(const std::string& what, int error) const
{
    throw PortError(what + " " + m_device + ": " + std::generic_category().message(error));
}

}  // namespace Station
