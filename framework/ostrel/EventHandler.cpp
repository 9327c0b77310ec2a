// The event bus.
#include "ostrel/EventHandler.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "ostrel/EventException.h"
#include "ostrel/EventHost.h"
#include "ostrel/EventMessage.h"

namespace Ostrel::Event {

namespace {

// One lock for the instance and its registry; never held while a handler runs.
std::mutex& Guard()
{
    static std::mutex guard;
    return guard;
}

std::unique_ptr<EventHandler>& Instance()
{
    // Not destroyed at the end of the process: other threads may still send.
    static auto& instance = *new std::unique_ptr<EventHandler>;
    return instance;
}

}  // namespace

EventHandler* EventHandler::getInstance()
{
    const std::lock_guard lock(Guard());
    if (!Instance()) {
        Instance().reset(new EventHandler);
    }
    return Instance().get();
}

void EventHandler::DestroyInstance()
{
    const std::lock_guard lock(Guard());
    Instance().reset();
}

void EventHandler::Forget(const EventHost* host)
{
    const std::lock_guard lock(Guard());
    if (Instance()) {
        Instance()->Remove(host);
    }
}

int EventHandler::Register(EventHost* host)
{
    if (host == nullptr) {
        return -1;
    }
    const std::lock_guard lock(Guard());
    const char* const name = host->Name().c_str();
    const bool taken = std::any_of(m_hosts.begin(), m_hosts.end(), [&](const auto& entry) {
        return entry.second.host == host || entry.second.name == name;
    });
    if (taken) {
        return -1;
    }
    m_hosts.emplace(m_nextId++, Registration{host, name});
    return 0;
}

int EventHandler::UnRegister(EventHost* host)
{
    const std::lock_guard lock(Guard());
    return Remove(host);
}

int EventHandler::Remove(const EventHost* host)
{
    const auto found =
        std::find_if(m_hosts.begin(), m_hosts.end(), [&](const auto& entry) { return entry.second.host == host; });
    if (found == m_hosts.end()) {
        return -1;
    }
    m_hosts.erase(found);
    return 0;
}

int EventHandler::FindHostID(const char* name)
{
    if (name == nullptr) {
        return -1;
    }
    const std::lock_guard lock(Guard());
    const auto found =
        std::find_if(m_hosts.begin(), m_hosts.end(), [&](const auto& entry) { return entry.second.name == name; });
    return found == m_hosts.end() ? -1 : found->first;
}

int EventHandler::SendEventMsg(EventMessage* message)
{
    if (message == nullptr) {
        Common::Exception::Throw<EventException>("no message to deliver");
    }
    EventHost* host = nullptr;
    {
        const std::lock_guard lock(Guard());
        const auto found = m_hosts.find(message->GetHostID());
        if (found == m_hosts.end()) {
            return -1;
        }
        host = found->second.host;
    }
    host->OnRecvMessage(message);
    return 0;
}

}  // namespace Ostrel::Event
