// A host with a name.
#include "ostrel/EventHostGeneric.h"

namespace Ostrel::Event {

EventHostGeneric::EventHostGeneric(const char* name)
{
    Name() = name;
}

EventHostGeneric::~EventHostGeneric() = default;

}  // namespace Ostrel::Event
