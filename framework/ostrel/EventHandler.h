// The event bus.
#pragma once

#include <map>
#include <string>

namespace Ostrel::Event {

class EventHost;
class EventMessage;

/// The event bus of the process: a registry of named hosts, and delivery of messages to them.
///
/// Any thread may call any operation. Delivery is synchronous and re-entrant: the host's handler runs on the sender's
/// thread, before `SendEventMsg` returns, without a lock, so it may itself send, register and unregister. A host must
/// not be destroyed while another thread delivers to it.
class EventHandler {
public:
    /// The one handler; created by the first call and by the first call after `DestroyInstance`.
    static EventHandler* getInstance();
    /// Releases the handler, and with it every registration.
    static void DestroyInstance();

    EventHandler(const EventHandler&) = delete;
    EventHandler& operator=(const EventHandler&) = delete;

    /// Registers a host under its name. 0, or -1 for null, a host that is registered or a name in use.
    int Register(EventHost* host);
    /// Unregisters a host, which may already be destroyed. 0, or -1 for a host that is not registered.
    int UnRegister(EventHost* host);
    /// The identifier, from 1 on, of the host registered under that name; -1 for an unknown name or null.
    int FindHostID(const char* name);
    /// Delivers a message. 0 once the host has handled it, -1 when no host has the message's host identifier.
    /// Throws a pointer to an EventException for a null message.
    int SendEventMsg(EventMessage* message);

private:
    friend class EventHost;

    struct Registration {
        EventHost* host;
        std::string name;
    };

    EventHandler() = default;
    static void Forget(const EventHost* host);
    int Remove(const EventHost* host);

    std::map<int, Registration> m_hosts;
    int m_nextId = 1;
};

}  // namespace Ostrel::Event
