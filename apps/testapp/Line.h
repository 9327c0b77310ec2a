// The serial line to the test station.
#pragma once

#include <string>

#include "apps/testapp/Descriptor.h"
#include "uart/CUARTMgr.h"

namespace TestApp {

/// A serial port and its settings, as CUARTMgr::Open takes them.
struct LineSettings {
    std::string port;
    int baud = 115200;
    int dataBits = 8;
    int stopBits = 1;
    int parity = 0;
    bool flowControl = false;
};

/// Opens the manager's port, and opens it again when its line went away: an adapter was unplugged, or the other end of
/// a pseudo-terminal closed. Used by the thread that owns the manager.
class Line {
public:
    /// The manager outlives the last call.
    Line(UART::CUARTMgr& manager, LineSettings settings);

    /// Opens the port. Returns an empty text, or why the port cannot be used.
    std::string Open();

    /// Keeps the open port open until the descriptor `end` is readable. When the line is gone, closes the port, which
    /// waits for a check in progress, and tries once a second to open it again. Says once on standard error that the
    /// line is gone, and once on standard output that it is back.
    void Keep(int end);

private:
    [[nodiscard]] bool AwaitHangUp(int end) const;
    bool OpenAgain(int end);

    UART::CUARTMgr& m_manager;
    LineSettings m_settings;
    Descriptor m_watch;  // shows that the line is gone: the manager's own descriptor is not accessible
};

}  // namespace TestApp
