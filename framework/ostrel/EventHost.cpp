// A receiver of messages on the event bus.
#include "ostrel/EventHost.h"

#include "ostrel/EventHandler.h"

namespace Ostrel::Event {

EventHost::~EventHost()
{
    EventHandler::Forget(this);
}

}  // namespace Ostrel::Event
