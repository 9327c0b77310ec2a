// A message on the event bus.
#pragma once

#include "ostrel/String.h"

namespace Ostrel::Event {

/// A message to one host: its identifier, an event identifier, a text and three pointers that stay the sender's.
class EventMessage {
public:
    /// To host 0, with event 0, an empty text and null pointers.
    EventMessage() = default;
    /// Takes a copy of `text`; null stands for the empty text. What the pointers point to stays the sender's.
    EventMessage(int hostId, int eventId, const char* text, void* param1, void* param2, void* param3);
    EventMessage(const EventMessage&) = delete;
    EventMessage& operator=(const EventMessage&) = delete;
    virtual ~EventMessage();

    /// The host's identifier, from 1; 0 is nobody.
    void SetHostID(int hostId) { m_hostId = hostId; }
    /// The event's identifier, of which the framework knows nothing.
    void SetEventID(int eventId) { m_eventId = eventId; }
    /// Takes a copy; null stands for the empty text.
    void SetText(const char* text) { m_text = text; }

    /// The host's identifier.
    [[nodiscard]] int GetHostID() const { return m_hostId; }
    /// The event's identifier.
    [[nodiscard]] int GetEventID() const { return m_eventId; }
    /// The text, never null; valid until it is set again or the message ends.
    [[nodiscard]] const char* GetText() const { return m_text.c_str(); }
    /// The first pointer.
    [[nodiscard]] void* GetParam1() const { return m_param1; }
    /// The second pointer.
    [[nodiscard]] void* GetParam2() const { return m_param2; }
    /// The third pointer.
    [[nodiscard]] void* GetParam3() const { return m_param3; }

private:
    int m_hostId = 0;
    int m_eventId = 0;
    Common::String m_text;
    void* m_param1 = nullptr;
    void* m_param2 = nullptr;
    void* m_param3 = nullptr;
};

}  // namespace Ostrel::Event
