// A host with a name.
#pragma once

#include "ostrel/EventHost.h"

namespace Ostrel::Event {

/// A host that is constructed with its name.
class EventHostGeneric : public EventHost {
public:
    explicit EventHostGeneric(const char* name);
    ~EventHostGeneric() override;
};

}  // namespace Ostrel::Event
