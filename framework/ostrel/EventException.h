// The exception of the event bus.
#pragma once

#include "ostrel/Exception.h"

namespace Ostrel::Event {

/// A message that the event bus cannot deliver. Thrown as a pointer.
class EventException : public Common::Exception {
public:
    using Common::Exception::Exception;
};

}  // namespace Ostrel::Event
