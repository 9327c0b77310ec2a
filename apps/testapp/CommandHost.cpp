// The test application's host on the event bus.
#include "apps/testapp/CommandHost.h"

#include <cstdio>

#include "ostrel/EventMessage.h"

namespace TestApp {

CommandHost::CommandHost(UART::CUARTMgr& manager, const std::string& images)
    : EventHostGeneric("testapp"), m_manager(manager), m_checks(images)
{
}

int CommandHost::OnRecvMessage(Ostrel::Event::EventMessage* message)
{
    if (message->GetEventID() < UART::EVT_CMD_BASE) {
        return 0;  // not a command
    }
    const unsigned char code = *static_cast<const unsigned char*>(message->GetParam1());
    const auto* const request = static_cast<const unsigned char*>(message->GetParam2());
    const Reply reply = m_checks.CarryOut(code, request);
    if (m_manager.SendPacket(code, reply.data(), reply.size()) != 0) {
        std::fprintf(stderr, "testapp: the reply to command %d could not be sent\n", code);
    }
    return 0;
}

}  // namespace TestApp
