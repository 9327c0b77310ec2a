// A message on the event bus.
#pragma once

#include "ostrel/String.h"

namespace Ostrel::Event {

/// A message to one host: its identifier, an event identifier, a text and three pointers that stay the sender's.
class EventMessage {
public:
    EventMessage() = default;
    EventMessage(int hostId, int eventId, const char* text, void* param1, void* param2, void* param3);
    EventMessage(const EventMessage&) = delete;
    EventMessage& operator=(const EventMessage&) = delete;
    virtual ~EventMessage();

    void SetHostID(int hostId) { m_hostId = hostId; }
    void SetEventID(int eventId) { m_eventId = eventId; }
    void SetText(const char* text) { m_text = text; }

    [[nodiscard]] int GetHostID() const { return m_hostId; }
    [[nodiscard]] int GetEventID() const { return m_eventId; }
    [[nodiscard]] const char* GetText() const { return m_text.c_str(); }
    [[nodiscard]] void* GetParam1() const { return m_param1; }
    [[nodiscard]] void* GetParam2() const { return m_param2; }
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
