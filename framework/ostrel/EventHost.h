// A receiver of messages on the event bus.
#pragma once

#include <atomic>

#include "ostrel/String.h"

/// Events and their handlers.
namespace Ostrel::Event {

class EventMessage;

/// A receiver that can be registered on the event bus. A host's destructor unregisters it.
class EventHost {
public:
    EventHost() = default;
    EventHost(const EventHost&) = delete;
    EventHost& operator=(const EventHost&) = delete;
    virtual ~EventHost();

    /// Called for each message to this host, on the sender's thread.
    virtual int OnRecvMessage(EventMessage* message) = 0;

    /// The name to be registered under. Changing it later does not change the registration.
    Common::String& Name() { return m_name; }

    /// Asks users of this host to log more of what they do; off unless set. Any thread.
    void SetTrace(bool on) { m_trace = on; }
    /// Whether that was asked. Any thread.
    [[nodiscard]] bool IsTrace() const { return m_trace; }

private:
    Common::String m_name;
    std::atomic<bool> m_trace = false;
};

}  // namespace Ostrel::Event
