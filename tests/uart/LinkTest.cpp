// The whole link on a pseudo-terminal: mixed traffic, opening and closing under traffic, a station that goes and comes.
#include "tests/support/Link.h"

#include <cstdlib>
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
        m_manager = CUARTMgr::GetInstance("mgr", 1);
        ASSERT_EQ(CEventRoute::Register(&m_application, "0x1"), 0);
    }
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

TEST_F(Link, CloseWaitsForTheHandlerWhichStillAnswers)
{
    const Support::Pty pty;
    ASSERT_EQ(Open(pty.Path()), 0);
    std::atomic<bool> isInHandler = false;
    std::atomic<bool> mayAnswer = false;
    std::atomic<int> answer = -2;
    m_application.Handle([&](const EventMessage& /*message*/) {
        isInHandler = true;
        WaitFor([&] { return mayAnswer.load(); });
        answer = m_manager->SendPacket(3, "reply", 5);
    });
    pty.Write(Frame(1, 3));
    ASSERT_TRUE(WaitFor([&] { return isInHandler.load(); }));
    std::atomic<bool> isClosed = false;
    std::thread closer([&] {
        m_manager->Close();
        isClosed = true;
    });
    ASSERT_TRUE(WaitFor([this] { return m_manager->IsStop(); }));
    EXPECT_FALSE(isClosed);
    mayAnswer = true;
    closer.join();
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(pty.Read(10).size(), 10U);
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
    const std::vector<std::string> pass = {"[E] [CUARTReceiver::ReceivePacket] Receive Header Error \n",
                                           "[D] [CUARTReceiver::Run] HDR, BODY, TAIL Error [0x10000000]. \n",
                                           "[D] [CUARTMgr::SendPacket] Type[0x1], Cmd[0xff], Datelen[26] \n",
                                           "[D] Send Packet : 5A01FFFFFFFFFFFFFFFFFFFFFFFFFFFF\n",
                                           "[D] Send Packet : FFFFFFFFFFFFFFFFFFFFFFFFFFA403\n",
                                           "[E] [CUARTSender::SendPacket] error sending packet \n"};
    std::vector<std::string> texts;
    ASSERT_TRUE(WaitFor([&] {
        const auto more = Support::TakeTexts();
        texts.insert(texts.end(), more.begin(), more.end());
        return texts.size() >= 3 * pass.size();
    }));
    for (std::size_t i = 0; i < 3 * pass.size(); ++i) {
        EXPECT_EQ(texts[i], pass[i % pass.size()]);
    }
    m_manager->Close();
    const Support::Pty next;
    ASSERT_EQ(Open(next.Path()), 0);
    next.Write(Frame(1, 3));
    EXPECT_EQ(next.Read(31), Frame(1, 3));
}

TEST_F(Link, ServesOneStationAfterTheOtherOnASimulatedPort)
{
    AnswerCommands();
    const Sim::SerialPort port("/dev/ttyS0");
    ASSERT_EQ(Open("/dev/ttyS0"), 0);
    for (int i = 0; i < 3; ++i) {
        const int station = open(port.StationPath().c_str(), O_RDWR | O_NOCTTY);
        ASSERT_GT(station, 0);
        Support::WriteBytes(station, Frame(1, 4, {1, 2}));
        EXPECT_EQ(Support::ReadBytes(station, 31), Frame(1, 4, {1, 2}));
        close(station);
    }
}

}  // namespace
