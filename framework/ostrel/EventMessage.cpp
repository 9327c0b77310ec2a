// A message on the event bus.
#include "ostrel/EventMessage.h"

namespace Ostrel::Event {

EventMessage::EventMessage(int hostId, int eventId, const char* text, void* param1, void* param2, void* param3)
    : m_hostId(hostId), m_eventId(eventId), m_text(text), m_param1(param1), m_param2(param2), m_param3(param3)
{
}

EventMessage::~EventMessage() = default;

}  // namespace Ostrel::Event
