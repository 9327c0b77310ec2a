// The event route: its table of hosts, and the delivery of messages.
#include "common/CEventRoute.h"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "ostrel/EventException.h"
#include "ostrel/EventMessage.h"
#include "tests/support/Log.h"

namespace {

using Common::Event::CEventRoute;
using Ostrel::Event::EventHandler;
using Ostrel::Event::EventHost;
using Ostrel::Event::EventHostGeneric;
using Ostrel::Event::EventMessage;

/// What the framework was asked to unregister.
std::vector<EventHost*> unregistered;

class Route : public CEventRoute {
public:
    using CEventRoute::CEventRoute;
    int OnRecvMessage(EventMessage* /*message*/) override { return 0; }
};

class Host : public EventHostGeneric {
public:
    Host() : EventHostGeneric("unregistered") {}
    int OnRecvMessage(EventMessage* message) override
    {
        texts.emplace_back(message->GetText());
        params = {message->GetParam1(), message->GetParam2(), message->GetParam3()};
        if (onMessage) {
            onMessage();
        }
        return 5;
    }

    std::vector<std::string> texts;
    std::vector<void*> params;
    void (*onMessage)() = nullptr;
};

class EventRoute : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        unregistered.clear();
    }
};

TEST_F(EventRoute, RefusesEverythingWithoutARoute)
{
    Host host;
    const auto refuses = [&host] {
        EXPECT_EQ(CEventRoute::Register(&host, "0x1"), -1);
        EXPECT_EQ(CEventRoute::UnRegister(), -1);
        EXPECT_EQ(CEventRoute::FindHostID("0x1"), -1);
        EXPECT_EQ(CEventRoute::SendMessage(1, 0, "", nullptr, nullptr, nullptr), -1);
    };
    refuses();
    {
        const Route route("route");
        EXPECT_EQ(CEventRoute::FindHostID("0x1"), -1) << "a refused host must not stay in the table";
        EXPECT_EQ(CEventRoute::Register(&host, "0x1"), 0);
        EXPECT_GE(CEventRoute::FindHostID("0x1"), 1);
    }
    refuses();
}

TEST_F(EventRoute, DeliversToTheHostOfThatName)
{
    const Route route("route");
    Host one;
    Host two;
    EXPECT_EQ(CEventRoute::Register(nullptr, "0x1"), -1);
    ASSERT_EQ(CEventRoute::Register(&one, "0x1"), 0);
    ASSERT_EQ(CEventRoute::Register(&two, "0x2"), 0);
    int first = 0;
    int second = 0;
    int third = 0;
    EXPECT_EQ(CEventRoute::SendMessage(CEventRoute::FindHostID("0x2"), 7, "text", &first, &second, &third), 0);
    EXPECT_TRUE(one.texts.empty());
    EXPECT_EQ(two.texts, std::vector<std::string>{"text"});
    EXPECT_EQ(two.params, (std::vector<void*>{&first, &second, &third}));
    EXPECT_EQ(CEventRoute::SendMessage(CEventRoute::FindHostID("nobody"), 7, "", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(CEventRoute::SendMessage(0, 7, "", nullptr, nullptr, nullptr), -1);
}

TEST_F(EventRoute, UnregistersEveryHostOnceAndInOrder)
{
    std::vector<Host> hosts(4);
    const std::vector<EventHost*> three = {&hosts[0], &hosts[1], &hosts[2]};
    {
        const Route route("route");
        ASSERT_EQ(CEventRoute::Register(&hosts[0], "0x1"), 0);
        EXPECT_EQ(CEventRoute::Register(&hosts[1], "0x1"), -1) << "the framework's result";
        ASSERT_EQ(CEventRoute::Register(&hosts[2], "0x3"), 0);
        EXPECT_EQ(CEventRoute::UnRegister(), 0);
        EXPECT_EQ(unregistered, three) << "also the host that the framework refused";
        EXPECT_EQ(CEventRoute::UnRegister(), 0);
        EXPECT_EQ(unregistered, three) << "the table is empty";
        ASSERT_EQ(CEventRoute::Register(&hosts[3], "0x1"), 0);
        unregistered.clear();
    }
    EXPECT_EQ(unregistered, std::vector<EventHost*>{&hosts[3]}) << "by the end of the route";
}

TEST_F(EventRoute, ANewRouteForgetsTheTable)
{
    const Route route("route");
    Host host;
    ASSERT_EQ(CEventRoute::Register(&host, "0x1"), 0);
    {
        const Route another("another");
        EXPECT_EQ(CEventRoute::UnRegister(), 0);
        EXPECT_TRUE(unregistered.empty());
        EXPECT_GE(CEventRoute::FindHostID("0x1"), 1);
    }
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("0x1"), -1) << "the end of any route ends the handler";
    EventHandler::DestroyInstance();
}

TEST_F(EventRoute, RefusesTheHundredAndFirstHost)
{
    const Route route("route");
    std::vector<Host> hosts(101);
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        EXPECT_EQ(CEventRoute::Register(&hosts[i], std::to_string(i)), i < 100 ? 0 : -1);
    }
    EXPECT_EQ(CEventRoute::FindHostID("100"), -1);
    EXPECT_EQ(Support::TakeTexts("CEventRoute"),
              Support::Texts{"[E] [CEventRoute::Register] Host Table Full [100] \n"});
    CEventRoute::UnRegister();
    EXPECT_EQ(unregistered.size(), 100U);
}

TEST_F(EventRoute, OnlyTheFrameworksEventExceptionIsAFailure)
{
    const Route route("route");
    Host host;
    ASSERT_EQ(CEventRoute::Register(&host, "0x1"), 0);
    const int id = CEventRoute::FindHostID("0x1");
    const auto send = [id] { return CEventRoute::SendMessage(id, 1, "", nullptr, nullptr, nullptr); };
    host.onMessage = [] { Ostrel::Common::Exception::Throw<Ostrel::Event::EventException>("full"); };
    EXPECT_EQ(send(), -1);
    host.onMessage = [] { throw std::runtime_error("other"); };
    EXPECT_THROW(send(), std::runtime_error);
    host.onMessage = [] { Ostrel::Common::Exception::Throw("framework"); };
    EXPECT_THROW(send(), Ostrel::Common::Exception*);
    EXPECT_TRUE(Sim::TakeLog().empty());
}

}  // namespace

/// The dynamic linker finds this before the framework's own operation. It does not see hosts that the framework forgets
/// by itself, when a host or the handler is destroyed.
__attribute__((visibility("default"))) int Ostrel::Event::EventHandler::UnRegister(EventHost* host)
{
    unregistered.push_back(host);
    return Remove(host);
}
