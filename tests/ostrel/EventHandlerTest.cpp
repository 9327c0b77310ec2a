// The framework stand-in's event bus.
#include "ostrel/EventHandler.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ostrel/EventException.h"
#include "ostrel/EventHostGeneric.h"
#include "ostrel/EventMessage.h"

namespace {

using Ostrel::Event::EventException;
using Ostrel::Event::EventHandler;
using Ostrel::Event::EventHostGeneric;
using Ostrel::Event::EventMessage;

class Host : public EventHostGeneric {
public:
    explicit Host(const char* name) : EventHostGeneric(name) {}
    int OnRecvMessage(EventMessage* message) override
    {
        received.push_back(message->GetEventID());
        if (onFirst && received.size() == 1) {
            onFirst();
        }
        return -7;
    }

    std::vector<int> received;
    std::function<void()> onFirst;
};

class Bus : public testing::Test {
protected:
    void TearDown() override { EventHandler::DestroyInstance(); }

    static int Send(int host, int event)
    {
        EventMessage message(host, event, "", nullptr, nullptr, nullptr);
        return EventHandler::getInstance()->SendEventMsg(&message);
    }
};

TEST_F(Bus, FindsHostsByTheNameTheyWereRegisteredUnder)
{
    EventHandler* const bus = EventHandler::getInstance();
    Host first("first");
    Host second("second");
    Host twin("first");
    EXPECT_EQ(bus->Register(&first), 0);
    EXPECT_EQ(bus->Register(&second), 0);
    EXPECT_EQ(bus->Register(&first), -1) << "registered already";
    EXPECT_EQ(bus->Register(&twin), -1) << "name in use";
    EXPECT_EQ(bus->Register(nullptr), -1);
    EXPECT_EQ(bus->FindHostID("first"), 1);
    EXPECT_EQ(bus->FindHostID("second"), 2);
    first.Name() = "renamed";
    EXPECT_EQ(bus->FindHostID("first"), 1);
    EXPECT_EQ(bus->FindHostID("renamed"), -1);
    EXPECT_EQ(bus->FindHostID(nullptr), -1);
    EXPECT_EQ(bus->UnRegister(&first), 0);
    EXPECT_EQ(bus->UnRegister(&first), -1);
    EXPECT_EQ(bus->FindHostID("first"), -1);
    EXPECT_EQ(bus->Register(&twin), 0) << "the name is free again";
    EXPECT_EQ(bus->FindHostID("first"), 3) << "identifiers are not used again";
}

TEST_F(Bus, DeliversBeforeSendReturnsWhateverTheHandlerReturns)
{
    Host host("host");
    EventHandler::getInstance()->Register(&host);
    EXPECT_EQ(Send(1, 1000), 0);
    EXPECT_EQ(host.received, std::vector<int>{1000});
    EXPECT_EQ(Send(0, 1001), -1);
    EXPECT_EQ(Send(2, 1001), -1);
    EXPECT_EQ(host.received.size(), 1U);
}

TEST_F(Bus, ThrowsItsOwnExceptionForNoMessage)
{
    try {
        EventHandler::getInstance()->SendEventMsg(nullptr);
        FAIL() << "no exception";
    } catch (const EventException* exception) {
        EXPECT_STREQ(exception->GetMessage(), "no message to deliver");
    }
}

TEST_F(Bus, AHandlerMaySendRegisterAndUnregister)
{
    EventHandler* const bus = EventHandler::getInstance();
    Host host("host");
    Host late("late");
    bus->Register(&host);
    host.onFirst = [&] {
        EXPECT_EQ(Send(1, 4), 0);
        bus->Register(&late);
        Send(bus->FindHostID("late"), 2);
        bus->UnRegister(&host);
    };
    EXPECT_EQ(Send(1, 1), 0);
    EXPECT_EQ(host.received, (std::vector<int>{1, 4}));
    EXPECT_EQ(late.received, std::vector<int>{2});
    EXPECT_EQ(Send(1, 3), -1);
}

TEST_F(Bus, AHostThatDiesLeavesTheBusAndDoesNotReviveIt)
{
    auto host = std::make_unique<Host>("host");
    EventHandler::getInstance()->Register(host.get());
    host.reset();
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("host"), -1);

    host = std::make_unique<Host>("host");
    EventHandler::getInstance()->Register(host.get());
    EventHandler::DestroyInstance();
    host.reset();
    Host other("other");
    EventHandler::getInstance()->Register(&other);
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("other"), 1) << "a new handler counts from 1";
}

TEST_F(Bus, RegistersAndDeliversOnSeveralThreads)
{
    Host steady("steady");
    EventHandler::getInstance()->Register(&steady);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 200; ++round) {
                Host host(std::to_string(i).c_str());
                EventHandler::getInstance()->Register(&host);
                Send(EventHandler::getInstance()->FindHostID(std::to_string(i).c_str()), round);
                EXPECT_EQ(host.received, std::vector<int>{round});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("steady"), 1);
}

TEST(Message, CopiesItsTextAndStartsEmpty)
{
    std::string text = "text";
    const EventMessage message(1, 2, text.c_str(), &text, nullptr, nullptr);
    text = "gone";
    EXPECT_STREQ(message.GetText(), "text");
    EXPECT_EQ(message.GetParam1(), &text);
    EXPECT_STREQ(EventMessage(1, 2, nullptr, nullptr, nullptr, nullptr).GetText(), "");
    EXPECT_EQ(EventMessage().GetHostID(), 0);
}

}  // namespace
