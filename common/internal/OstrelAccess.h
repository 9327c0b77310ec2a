// Calls that differ from one framework to the next. A port to another framework edits this file and no other.
#pragma once

#include "ostrel/EventHost.h"
#include "ostrel/EventMessage.h"
#include "ostrel/Thread.h"

namespace Common::OstrelAccess {

/// Assigns the name that a host is registered under.
inline void SetName(Ostrel::Event::EventHost& host, const char* name)
{
    host.Name() = name;
}

/// The flag of a host that asks for the manager's port-status lines.
inline bool IsTrace(const Ostrel::Event::EventHost& host)
{
    return host.IsTrace();
}

/// The flag of a thread that is set once it has been told to stop or has ended.
inline bool IsStop(const Ostrel::Service::Thread& thread)
{
    return thread.IsStop();
}

inline int EventId(const Ostrel::Event::EventMessage& message)
{
    return message.GetEventID();
}

inline void* Param1(const Ostrel::Event::EventMessage& message)
{
    return message.GetParam1();
}

inline void* Param2(const Ostrel::Event::EventMessage& message)
{
    return message.GetParam2();
}

/// Addresses a default-constructed message.
inline void Address(Ostrel::Event::EventMessage& message, int hostId, int eventId, const char* text)
{
    message.SetHostID(hostId);
    message.SetEventID(eventId);
    message.SetText(text);
}

}  // namespace Common::OstrelAccess
