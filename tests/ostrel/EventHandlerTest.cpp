// Faults of the stand-in's event bus that the product's own tests do not notice.
#include "ostrel/EventHandler.h"

#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "ostrel/EventHostGeneric.h"
#include "ostrel/EventMessage.h"

using Ostrel::Event::EventHandler;
using Ostrel::Event::EventMessage;

namespace {

struct Host : Ostrel::Event::EventHostGeneric {
    using EventHostGeneric::EventHostGeneric;
    int OnRecvMessage(EventMessage* message) override { return work(message->GetEventID()), -7; }

    std::function<void(int)> work = [](int /*event*/) {};
};

}  // namespace

TEST(Bus, AHandlerMaySendRegisterAndUnregister)
{
    EventHandler* const bus = EventHandler::getInstance();
    const auto send = [bus](const char* host, int event) {
        EventMessage message(bus->FindHostID(host), event, "", nullptr, nullptr, nullptr);
        return bus->SendEventMsg(&message);
    };
    auto host = std::make_unique<Host>("host");
    Host late("late");
    late.work = [&](int event) { EXPECT_EQ(send("host", event + 1), 0) << "from handler to handler"; };
    host->work = [&](int event) {
        if (event == 1) {
            EXPECT_EQ(bus->Register(&late), 0);
            EXPECT_EQ(send("late", 2), 0);
            EXPECT_EQ(bus->UnRegister(&late), 0);
        }
    };
    EXPECT_EQ(bus->Register(host.get()), 0);
    EXPECT_EQ(send("host", 1), 0);
    EXPECT_EQ(send("late", 1), -1);
    host.reset();
    EXPECT_EQ(bus->FindHostID("host"), -1) << "a host that dies leaves the bus";
    EventHandler::DestroyInstance();
}
