// The whole link on a pseudo-terminal: mixed traffic, opening and closing under traffic, a station that goes and comes.
#include "tests/support/Link.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Descriptors.h"
#include "tests/support/Wait.h"
#include "uart/CUARTMgr.h"

namespace {

using Common::Event::CEventRoute;
using Ostrel::Event::EventMessage;
using Support::Bytes;
using Support::ErrorFrame;
using Support::Frame;
using Support::OpenDescriptors;
using Support::WaitFor;
using UART::CUARTMgr;

/// Too long for the inside of a string: what a destroyed manager logs shows another.
const std::string NAME = "the manager of the tests";

/// TESTMODE_FULL=1 runs the long tests at full size.
int Size(int suite, int full)
{
    const char* const option = std::getenv("TESTMODE_FULL");
    return option != nullptr && std::string(option) == "1" ? full : suite;
}

class Link : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        Create();
        // The frames that the receiver prints are of no interest here.
        testing::internal::CaptureStdout();
    }
    void TearDown() override
    {
        CUARTMgr::DestroyInstance();
        testing::internal::GetCapturedStdout();
    }

    void Create()
    {
        m_manager = CUARTMgr::GetInstance(NAME, 1);
        ASSERT_EQ(CEventRoute::Register(&m_application, "0x1"), 0);
    }
    void DestroyDuringACommand(const std::function<void()>& before, const std::function<void()>& after);
    int Open(const std::string& path) { return m_manager->Open(path, 115200, 8, 1, 0, false); }

    /// Has the application answer every command with its code and data.
    void AnswerCommands()
    {
        m_application.Handle([this](const EventMessage& message) {
            static const unsigned char none[UART::UART_BODY_LEN] = {};
            const void* const body = message.GetParam2() != nullptr ? message.GetParam2() : none;
            m_manager->SendPacket(*static_cast<unsigned char*>(message.GetParam1()), body, UART::UART_BODY_LEN);
        });
    }

    Support::KeepingHost m_application;
    CUARTMgr* m_manager = nullptr;
};

/// What the station sends, and what it and the application must get for it.
struct Case {
    const char* kind;
    Bytes sent;
    Bytes reply;
    Bytes command;  // empty when nothing may reach the application
};

class Traffic {
public:
    Case Next()
    {
        Bytes body(UART::UART_BODY_LEN, 0);
        for (unsigned char& byte : body) {
            byte = Byte();
        }
        const auto type = static_cast<unsigned char>(1 + 2 * Below(3));
        const unsigned char cmd = UART::UART_COMMANDS[Below(14)].code;
        Bytes frame = Frame(type, cmd, body);
        switch (Below(8)) {
        case 0:
            frame[Below(30)] ^= static_cast<unsigned char>(1U << Below(8));
            return {"bit error", frame, ErrorFrame(1), {}};
        case 1:
            return {"board type", Frame(static_cast<unsigned char>(type + 1), cmd, body), ErrorFrame(1), {}};
        case 2:
            return {"command", Frame(type, static_cast<unsigned char>(14 + Below(241)), body), ErrorFrame(1), {}};
        case 3:
            return {"cut short", frame.substr(0, 1 + Below(30)), ErrorFrame(1), {}};
        case 4:
            return {"noise", body.substr(0, 1 + Below(26)), ErrorFrame(1), {}};
        default:
            frame[30] = Byte();  // not compared with anything
            const bool hasBody = cmd != UART::CMD_READ_VERSION && cmd != UART::CMD_CONFIRM_TEST_MODE;
            return {"valid", frame, Frame(1, cmd, hasBody ? body : Bytes()), {cmd}};
        }
    }

private:
    unsigned int Below(unsigned int limit)
    {
        return std::uniform_int_distribution<unsigned int>(0, limit - 1)(m_random);
    }
    unsigned char Byte() { return static_cast<unsigned char>(Below(256)); }

    std::mt19937 m_random{20260101};
};

TEST_F(Link, EveryFrameOfMixedTrafficGetsItsEventOrItsErrorFrame)
{
    AnswerCommands();
    const Support::Pty pty;
    ASSERT_EQ(Open(pty.Path()), 0);
    const auto descriptors = OpenDescriptors();
    Traffic traffic;
    for (int i = 0; i < Size(200, 2000); ++i) {
        const Case next = traffic.Next();
        pty.Write(next.sent);
        ASSERT_EQ(pty.Read(next.reply.size()), next.reply) << next.kind << ", frame " << i;
        const auto events = m_application.Take();
        ASSERT_EQ(events.size(), next.command.empty() ? 0U : 1U) << next.kind << ", frame " << i;
        if (!events.empty()) {
            ASSERT_EQ(events[0].id, 10000 + next.command[0]);
            ASSERT_EQ(events[0].header, next.command);
        }
        Sim::TakeLog();
    }
    EXPECT_EQ(pty.Read(1, std::chrono::milliseconds(50)), Bytes()) << "more replies than frames";
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(Link, OpensClosesAndDiesUnderTraffic)
{
    AnswerCommands();
    const Support::Pty pty;
    std::atomic<bool> isOver = false;
    std::thread station([&] {
        fcntl(pty.Fd(), F_SETFL, O_NONBLOCK);
        const Bytes frame = Frame(1, UART::CMD_GPI_TEST);
        unsigned char sink[4096];
        while (!isOver) {
            static_cast<void>(write(pty.Fd(), frame.data(), frame.size()) + read(pty.Fd(), sink, sizeof sink));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const auto descriptors = OpenDescriptors();
    for (int i = 0; i < Size(30, 1000); ++i) {
        ASSERT_EQ(Open(pty.Path()), 0) << "round " << i;
        WaitFor([this, i] { return m_application.Count() > static_cast<std::size_t>(i % 2); },
                std::chrono::milliseconds(5 * (i % 9)));
        if (i % 3 != 0) {
            m_manager->Close();
            ASSERT_EQ(m_manager->IsOpen(), -1);
        } else {
            ASSERT_EQ(CUARTMgr::DestroyInstance(), 0);
            Create();
        }
        m_application.Take();
        Sim::TakeLog();
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    isOver = true;
    station.join();
}

/// Destroys the manager while its application carries a command out: `before` the destruction has begun, and `after`
/// its thread, which is the process's first, has to wait.
void Link::DestroyDuringACommand(const std::function<void()>& before, const std::function<void()>& after)
{
    const Support::Pty pty;
    ASSERT_EQ(Open(pty.Path()), 0);
    std::atomic<bool> isInHandler = false;
    m_application.Handle([&](const EventMessage& /*message*/) {
        before();
        isInHandler = true;
        EXPECT_TRUE(WaitFor([] { return CEventRoute::FindHostID("0x2") == -1; })) << "hosts are unregistered first";
        EXPECT_TRUE(WaitFor([] {
            std::string state;
            std::getline(std::ifstream("/proc/self/stat"), state);
            return state.find(") S ") != std::string::npos;
        }));
        Sim::TakeLog();
        after();
    });
    pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([&] { return isInHandler.load(); }));
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
}

TEST_F(Link, DestructionWaitsForTheHandlerWhichStillAnswers)
{
    int answer = -2;
    DestroyDuringACommand([] {}, [&] { answer = m_manager->SendPacket(3, "reply", 5); });
    EXPECT_EQ(answer, 0);
}

TEST_F(Link, DestructionWaitsForAHandlerThatHasClosedThePort)
{
    std::vector<Sim::LogLine> lines;
    DestroyDuringACommand([this] { m_manager->Close(); },
                          [&] {
                              EXPECT_EQ(m_manager->SendPacket(3, "reply", 5), -1);
                              lines = Sim::TakeLog();
                          });
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].identity, "[" + NAME + "]") << "the manager was gone";
}

TEST_F(Link, AHandlerMayCloseThePortButNotDestroyTheManager)
{
    const Support::Pty pty;
    ASSERT_EQ(Open(pty.Path()), 0);
    std::atomic<bool> isDone = false;
    int destroyed = 0;
    int reopened = 0;
    m_application.Handle([&](const EventMessage& /*message*/) {
        destroyed = CUARTMgr::DestroyInstance();
        m_manager->Close();
        reopened = Open(pty.Path());
        isDone = true;
    });
    pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([&] { return isDone.load(); }));
    EXPECT_EQ(destroyed, -1);
    EXPECT_EQ(reopened, -1) << "no new receive thread from the receive thread";
    EXPECT_EQ(m_manager->IsOpen(), -1);
    EXPECT_EQ(CUARTMgr::GetInstance("", 0), m_manager);

    AnswerCommands();
    ASSERT_EQ(Open(pty.Path()), 0) << "opening waits for the thread on its way out";
    pty.Write(Frame(1, 3));
    EXPECT_EQ(pty.Read(31), Frame(1, 3));
}

TEST_F(Link, SurvivesAStationThatHangsUp)
{
    AnswerCommands();
    Support::Pty gone;
    ASSERT_EQ(Open(gone.Path()), 0);
    Sim::TakeLog();
    gone.Close();
    int errors = 0;
    EXPECT_TRUE(WaitFor([&errors] {
        const auto texts = Support::TakeTexts();
        errors += static_cast<int>(
            std::count(texts.begin(), texts.end(), "[E] [CUARTReceiver::ReceivePacket] Receive Header Error \n"));
        return errors >= 3;
    }));
    m_manager->Close();
    const Support::Pty next;
    ASSERT_EQ(Open(next.Path()), 0);
    next.Write(Frame(1, 3));
    EXPECT_EQ(next.Read(31), Frame(1, 3));
}

}  // namespace
