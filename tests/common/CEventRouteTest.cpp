// The event route: its table of hosts, and what becomes of messages.
#include "common/CEventRoute.h"

#include <memory>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "ostrel/EventException.h"
#include "ostrel/EventMessage.h"
#include "sim/SimBoard.h"

namespace {

using Common::Event::CEventRoute;
using Ostrel::Event::EventHandler;
using Ostrel::Event::EventHostGeneric;
using Ostrel::Event::EventMessage;

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
    void SetUp() override { Sim::Reset(); }
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
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("0x1"), -1);
    EventHandler::DestroyInstance();
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

    EXPECT_EQ(CEventRoute::UnRegister(), 0);
    EXPECT_EQ(CEventRoute::FindHostID("0x1"), -1);
    EXPECT_EQ(CEventRoute::FindHostID("0x2"), -1);
    EXPECT_EQ(CEventRoute::UnRegister(), 0);
}

TEST_F(EventRoute, KeepsAHostThatTheFrameworkRefuses)
{
    const Route route("route");
    Host first;
    Host second;
    ASSERT_EQ(CEventRoute::Register(&first, "0x1"), 0);
    EXPECT_EQ(CEventRoute::Register(&second, "0x1"), -1) << "the framework's result";
    EventHandler::getInstance()->UnRegister(&first);
    second.Name() = "late";
    ASSERT_EQ(EventHandler::getInstance()->Register(&second), 0);
    CEventRoute::UnRegister();
    EXPECT_EQ(EventHandler::getInstance()->FindHostID("late"), -1) << "the table did not hold the refused host";
}

TEST_F(EventRoute, ANewRouteForgetsTheTable)
{
    const Route route("route");
    Host host;
    ASSERT_EQ(CEventRoute::Register(&host, "0x1"), 0);
    {
        const Route another("another");
        CEventRoute::UnRegister();
        EXPECT_GE(CEventRoute::FindHostID("0x1"), 1) << "the host is forgotten, not unregistered";
    }
    EXPECT_EQ(CEventRoute::FindHostID("0x1"), -1) << "the end of any route ends the handler";
}

TEST_F(EventRoute, RefusesTheHundredAndFirstHost)
{
    const Route route("route");
    std::vector<std::unique_ptr<Host>> hosts;
    for (int i = 0; i <= 100; ++i) {
        hosts.push_back(std::make_unique<Host>());
        EXPECT_EQ(CEventRoute::Register(hosts.back().get(), std::to_string(i)), i < 100 ? 0 : -1);
    }
    EXPECT_EQ(CEventRoute::FindHostID("100"), -1);
    const auto lines = Sim::TakeLog();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "[E] [CEventRoute::Register] Host Table Full [100] \n");
    CEventRoute::UnRegister();
    EXPECT_EQ(CEventRoute::FindHostID("99"), -1);
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
