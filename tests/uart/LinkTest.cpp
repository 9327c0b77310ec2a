// The whole link on a pseudo-terminal: mixed traffic, opening and closing under traffic, its end during a command.
#include "tests/support/Link.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Descriptors.h"
#include "tests/support/Wait.h"

namespace {

using Common::Event::CEventRoute;
using Ostrel::Event::EventMessage;
using Support::BOARD_TYPE;
using Support::Bytes;
using Support::ErrorFrame;
using Support::Frame;
using Support::OpenDescriptors;
using Support::WaitFor;
using UART::CUARTMgr;

/// TESTMODE_FULL=1 runs the long tests at full size.
int Size(int suite, int full)
{
    const char* const option = std::getenv("TESTMODE_FULL");
    return option != nullptr && std::string(option) == "1" ? full : suite;
}

class Link : public Support::ManagerTest {
protected:
    Link() { testing::internal::CaptureStdout(); }  // the frames that the receiver prints are of no interest here
    ~Link() override { testing::internal::GetCapturedStdout(); }

    /// Has the application answer every command with its code and data.
    void AnswerCommands()
    {
        m_application.Handle([this](const EventMessage& message) {
            static const unsigned char none[UART::UART_BODY_LEN] = {};
            const void* const body = message.GetParam2() != nullptr ? message.GetParam2() : none;
            m_manager->SendPacket(*static_cast<unsigned char*>(message.GetParam1()), body, UART::UART_BODY_LEN);
        });
    }
};

/// What the station sends, the reply it must get, and the command that must reach the application.
struct Case {
    Bytes sent;
    Bytes reply = ErrorFrame(BOARD_TYPE);
    int command = 0;  // 0 when nothing may reach it
};

Case NextCase(std::mt19937& random)
{
    const auto below = [&random](unsigned int limit) {
        return static_cast<unsigned char>(std::uniform_int_distribution<unsigned int>(0, limit - 1)(random));
    };
    Bytes body(UART::UART_BODY_LEN, 0);
    std::generate(body.begin(), body.end(), [&] { return below(256); });
    const auto type = static_cast<unsigned char>(1 + 2 * below(3));
    const unsigned char cmd = UART::UART_COMMANDS[below(14)].code;
    Bytes frame = Frame(type, cmd, body);
    switch (below(6)) {
    case 0:
        frame[below(30)] ^= static_cast<unsigned char>(1U << below(8));
        return {frame};
    case 1:
        return {frame.substr(0, 1U + below(30))};
    case 2:
        return {body.substr(0, 1U + below(26))};
    default:
        frame[30] = below(256);  // not compared with anything
        const bool hasBody = cmd != UART::CMD_READ_VERSION && cmd != UART::CMD_CONFIRM_TEST_MODE;
        return {frame, Frame(BOARD_TYPE, cmd, hasBody ? body : Bytes()), cmd};
    }
}

TEST_F(Link, EveryFrameOfMixedTrafficGetsItsEventOrItsErrorFrame)
{
    AnswerCommands();
    ASSERT_EQ(Open(), 0);
    const auto descriptors = OpenDescriptors();
    std::mt19937 random{20260101};
    for (int i = 0; i < Size(200, 2000); ++i) {
        const Case next = NextCase(random);
        m_pty.Write(next.sent);
        ASSERT_EQ(m_pty.Read(next.reply.size()), next.reply) << "frame " << i;
        const auto events = m_application.Take();
        ASSERT_EQ(events.size(), next.command == 0 ? 0U : 1U) << "frame " << i;
        ASSERT_TRUE(events.empty() || events[0].id == 10000 + next.command) << "frame " << i;
        Sim::TakeLog();
    }
    EXPECT_EQ(m_pty.Read(1, std::chrono::milliseconds(50)), Bytes()) << "more replies than frames";
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(Link, OpensClosesAndDiesUnderTraffic)
{
    AnswerCommands();
    std::atomic<bool> isOver = false;
    fcntl(m_pty.Fd(), F_SETFL, O_NONBLOCK);
    std::thread station([&] {
        const Bytes frame = Frame(1, UART::CMD_GPI_TEST);
        unsigned char sink[4096];
        while (!isOver) {
            static_cast<void>(write(m_pty.Fd(), frame.data(), frame.size()) + read(m_pty.Fd(), sink, sizeof sink));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const auto descriptors = OpenDescriptors();
    for (int i = 0; i < Size(30, 1000); ++i) {
        ASSERT_EQ(Open(), 0) << "round " << i;
        WaitFor([this, i] { return m_application.Count() > static_cast<std::size_t>(i % 2); },
                std::chrono::milliseconds(5 * (i % 9)));
        if (i % 3 == 0) {
            ASSERT_EQ(CUARTMgr::DestroyInstance(), 0);
            Create();
        }
        m_manager->Close();
        m_application.Take();
        Sim::TakeLog();
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    isOver = true;
    station.join();
}

/// Called on the receive thread. Returns when the main thread, which destroys the manager, is waiting.
void AwaitDestruction()
{
    EXPECT_TRUE(WaitFor([] { return CEventRoute::FindHostID("0x2") == -1; })) << "hosts are unregistered first";
    EXPECT_TRUE(WaitFor([] {
        std::string state;
        std::getline(std::ifstream("/proc/self/stat"), state);
        return state.find(") S ") != std::string::npos;  // asleep
    }));
}

TEST_F(Link, DestructionWaitsForTheHandlerWhichStillAnswers)
{
    ASSERT_EQ(Open(), 0);
    int answer = -2;
    m_application.Handle([&](const EventMessage& /*message*/) {
        AwaitDestruction();
        answer = m_manager->SendPacket(3, "reply", 5);
    });
    m_pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([this] { return m_application.Count() > 0; }));
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
    EXPECT_EQ(answer, 0);
}

TEST_F(Link, DestructionWaitsForAHandlerThatHasClosedThePort)
{
    ASSERT_EQ(Open(), 0);
    m_application.Handle([this](const EventMessage& /*message*/) {
        m_manager->Close();
        AwaitDestruction();
        Sim::TakeLog();
        m_manager->SendPacket(3, "reply", 5);
    });
    m_pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([this] { return m_manager->IsOpen() != 0; }));
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
    EXPECT_EQ(Support::TakeTexts(Support::NAME).size(), 1U);
}

TEST_F(Link, DestructionEndsAReceiveThreadThatWasStartedWithoutThePort)
{
    ASSERT_EQ(m_manager->Start(m_pty.Fd()), 0);
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
}

TEST_F(Link, AHandlerMayCloseThePortButNotDestroyTheManager)
{
    ASSERT_EQ(Open(), 0);
    std::atomic<bool> isDone = false;
    int destroyed = 0;
    int reopened = 0;
    m_application.Handle([&](const EventMessage& /*message*/) {
        destroyed = CUARTMgr::DestroyInstance();
        m_manager->Close();
        reopened = Open();
        isDone = true;
    });
    m_pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([&] { return isDone.load(); }));
    const auto texts = Support::TakeTexts();
    for (const char* const line : {"[E] [CUARTMgr::DestroyInstance] Called on the receive thread \n",
                                   "[E] [CUARTReceiver::Start] Called on the receive thread \n"}) {
        EXPECT_EQ(std::count(texts.begin(), texts.end(), line), 1) << line;
    }
    EXPECT_EQ(destroyed, -1);
    EXPECT_EQ(reopened, -1) << "no new receive thread from the receive thread";
    EXPECT_EQ(m_manager->IsOpen(), -1);
    EXPECT_EQ(CUARTMgr::GetInstance("", 0), m_manager);

    AnswerCommands();
    ASSERT_EQ(Open(), 0) << "opening waits for the thread on its way out";
    m_pty.Write(Frame(1, 3));
    EXPECT_EQ(m_pty.Read(31), Frame(BOARD_TYPE, 3));
}

}  // namespace
