// The station's serial port: opened raw and for this program alone, closed with the object.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "apps/station/Descriptor.h"
#include "apps/station/Types.h"

namespace Station {

/// The port cannot be opened, or it went away.
class PortError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Owns the descriptor. Used by one thread.
class SerialPort {
public:
    /// Opens `device`, locks it against other stations, sets the line up and discards what was received before.
    /// @throws PortError with a message that names the device
    SerialPort(const std::string& device, const LineSettings& line);

    /// Writes all bytes, in one call unless the kernel takes a part only.
    /// @throws PortError if the port is gone or takes nothing for two seconds
    void Write(const Bytes& bytes);

    /// Reads what has arrived (at most 4096 bytes), waiting up to `wait` for the first byte.
    /// Returns nothing after the wait, or when a signal was delivered.
    /// @throws PortError if the port is gone
    Bytes Read(std::chrono::milliseconds wait);

private:
    void SetUp(const LineSettings& line);
    [[nodiscard]] bool WaitFor(short event, std::chrono::milliseconds wait) const;
    [[noreturn]] void Fail(const std::string& what, int error) const;

    std::string m_device;
    Descriptor m_port;
};

}  // namespace Station
