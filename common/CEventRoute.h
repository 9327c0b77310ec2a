// The library's place on the framework's event bus.
#pragma once

#include <string>

#include "common/Export.h"
#include "ostrel/EventHandler.h"
#include "ostrel/EventHostGeneric.h"

/// Events between the library and the application.
namespace Common::Event {

/// A named host on the event bus, and the process-wide operations that every user of the bus shares.
///
/// The static operations share one record per process: the framework's handler, and at most 100 hosts registered
/// through them. It has no lock: `Register` and `UnRegister` must not overlap with each other or with sends. While no
/// event route exists, all of them return -1. An application's own host derives from EventHostGeneric, not from this
/// class: constructing an event route empties the record, destroying one ends the handler.
class TESTMODE_API CEventRoute : public Ostrel::Event::EventHostGeneric {
public:
    /// Fetches the framework's handler and forgets all hosts registered so far, without unregistering them.
    explicit CEventRoute(std::string name);
    /// Unregisters every host registered through `Register` and releases the framework's handler.
    ~CEventRoute() override;

    /// Called for each message to this host, on the sender's thread.
    int OnRecvMessage(Ostrel::Event::EventMessage* message) override = 0;

    /// Names the host, keeps it for `UnRegister` and registers it with the framework. Returns the framework's result,
    /// and keeps the host also when that is a failure; -1 for null, without an event route, or for a 101st host. The
    /// host stays the caller's.
    static int Register(Ostrel::Event::EventHost* host, std::string name);

    /// Unregisters every host registered through `Register`, in that order. 0, or -1 without an event route.
    static int UnRegister();

    /// The framework's identifier of the host registered under `name`; -1 for an unknown name or without an event
    /// route.
    static int FindHostID(std::string name);

    /// Sends a message to a host and returns when its handler is done: 0 when delivered, -1 when there is no event
    /// route, no such host, or the framework throws an EventException; any other exception passes on. The pointers are
    /// passed on unchanged.
    static int SendMessage(int hostId, int eventId, const char* text, void* param1, void* param2, void* param3);

private:
    static constexpr int MAX_HOSTS = 100;

    static Ostrel::Event::EventHandler* m_pHandler;
    static int m_nHostCount;
    static Ostrel::Event::EventHost* m_pHost[MAX_HOSTS];
};

}  // namespace Common::Event
