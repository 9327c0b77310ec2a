// A host with a name.
#pragma once

#include "ostrel/EventHost.h"

namespace Ostrel::Event {

/// A host that is constructed with its name.
class EventHostGeneric : public EventHost {
public:
    /// Takes a copy of the name.
    explicit EventHostGeneric(const char* name);
    ~EventHostGeneric() override;
};

}  // namespace Ostrel::Event
