// The library's place on the framework's event bus.
#include "common/CEventRoute.h"

#include <memory>

#include "common/CFileLogger.h"
#include "common/internal/OstrelAccess.h"
#include "ostrel/EventException.h"
#include "ostrel/EventMessage.h"

namespace Common::Event {

Ostrel::Event::EventHandler* CEventRoute::m_pHandler = nullptr;
int CEventRoute::m_nHostCount = 0;
Ostrel::Event::EventHost* CEventRoute::m_pHost[MAX_HOSTS] = {};

CEventRoute::CEventRoute(std::string name) : EventHostGeneric(name.c_str())
{
    m_pHandler = Ostrel::Event::EventHandler::getInstance();
    m_nHostCount = 0;
}

CEventRoute::~CEventRoute()
{
    if (m_pHandler != nullptr) {
        UnRegister();
        Ostrel::Event::EventHandler::DestroyInstance();
        m_pHandler = nullptr;
    }
}

int CEventRoute::Register(Ostrel::Event::EventHost* host, std::string name)
{
    if (m_pHandler == nullptr || host == nullptr) {
        return -1;
    }
    if (m_nHostCount >= MAX_HOSTS) {
        Logger::CFileLogger("CEventRoute")
            .WriteError("[%s::%s] Host Table Full [%d] \n", "CEventRoute", "Register", MAX_HOSTS);
        return -1;
    }
    OstrelAccess::SetName(*host, name.c_str());
    m_pHost[m_nHostCount++] = host;
    return m_pHandler->Register(host);
}

int CEventRoute::UnRegister()
{
    if (m_pHandler == nullptr) {
        return -1;
    }
    for (int i = 0; i < m_nHostCount; ++i) {
        m_pHandler->UnRegister(m_pHost[i]);
    }
    m_nHostCount = 0;
    return 0;
}

int CEventRoute::FindHostID(std::string name)
{
    return m_pHandler == nullptr ? -1 : m_pHandler->FindHostID(name.c_str());
}

int CEventRoute::SendMessage(int hostId, int eventId, const char* text, void* param1, void* param2, void* param3)
{
    const auto message = std::make_unique<Ostrel::Event::EventMessage>(hostId, eventId, text, param1, param2, param3);
    if (m_pHandler == nullptr) {
        return -1;
    }
    try {
        return m_pHandler->SendEventMsg(message.get()) == 0 ? 0 : -1;
    } catch (const Ostrel::Event::EventException*) {
        return -1;  // the exception belongs to the framework
    }
}

}  // namespace Common::Event
