// The test application's host on the event bus.
#pragma once

#include <string>

#include "apps/testapp/Checks.h"
#include "ostrel/EventHostGeneric.h"
#include "uart/CUARTMgr.h"

namespace TestApp {

/// Carries out every command that the manager forwards, and answers the station. Its handler runs on the receive
/// thread.
class CommandHost : public Ostrel::Event::EventHostGeneric {
public:
    /// `manager` sends the replies and outlives the host's registration; `images` is the folder of the touch test's
    /// images.
    CommandHost(UART::CUARTMgr& manager, const std::string& images);

    int OnRecvMessage(Ostrel::Event::EventMessage* message) override;

private:
    UART::CUARTMgr& m_manager;
    Checks m_checks;
};

}  // namespace TestApp
