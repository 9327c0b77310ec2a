// The test application's host on the event bus.
#pragma once

#include "ostrel/EventHostGeneric.h"
#include "uart/CUARTMgr.h"

namespace TestApp {

/// Carries out every command that the manager forwards, and answers the station. Its handler runs on the receive
/// thread.
class CommandHost : public Ostrel::Event::EventHostGeneric {
public:
    /// `manager` sends the replies and outlives the host's registration.
    explicit CommandHost(UART::CUARTMgr& manager);

    int OnRecvMessage(Ostrel::Event::EventMessage* message) override;

private:
    UART::CUARTMgr& m_manager;
};

}  // namespace TestApp
