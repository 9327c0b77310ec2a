// The manager: its one instance, its port, and what it does with the receiver's events.
#include "uart/CUARTMgr.h"

#include <cerrno>
#include <stdexcept>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "ostrel/EventHandler.h"
#include "ostrel/Exception.h"
#include "tests/support/Link.h"

namespace {

using Common::Event::CEventRoute;
using Ostrel::Event::EventMessage;
using Sim::Fault;
using Support::BOARD_TYPE;
using Support::Bytes;
using Support::ErrorFrame;
using Support::Event;
using Support::TakeTexts;
using Support::Texts;
using UART::CUARTMgr;

constexpr auto PORT_CLOSE = "[D] [CUARTMgr::Close] Port Close \n";

/// Messages to host identifier 0.
Texts sentToNobody;

using Manager = Support::ManagerTest;

TEST_F(Manager, IsOneAndRegisteredUnderItsHostName)
{
    EXPECT_EQ(CUARTMgr::GetInstance("other", 5), m_manager);
    EXPECT_EQ(TakeTexts(Support::NAME), Texts{"[D] [CUARTMgr::CUARTMgr] UART Manager Start. \n"});
    EXPECT_GE(CEventRoute::FindHostID("0x2"), 1);
    EXPECT_EQ(CEventRoute::FindHostID(Support::NAME), -1);
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
    EXPECT_EQ(CUARTMgr::DestroyInstance(), 0);
    EXPECT_EQ(CEventRoute::FindHostID("0x2"), -1);
    EXPECT_TRUE(TakeTexts().empty());
}

TEST_F(Manager, OpensAndClosesThePortOnce)
{
    const std::string open = "[D] [CUARTMgr::IsOpen] Port Status = Open \n";
    const std::string closed = "[D] [CUARTMgr::IsOpen] Port Status = Close \n";
    TakeTexts();
    m_manager->SetTrace(true);
    const Sim::Recording recording;
    m_manager->Close();
    EXPECT_EQ(m_manager->Open("/nonexistent", 115200, 8, 1, 0, false), -1);
    EXPECT_EQ(m_manager->IsOpen(), -1);
    EXPECT_EQ(TakeTexts(), (Texts{closed, closed, closed}));
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(TakeTexts(), (Texts{closed, "[D] [CUARTMgr::Open] Start Receive Thread \n",
                                  "[D] [CUARTMgr::Open] Open Success [" + m_pty.Path() + "] \n"}));
    EXPECT_EQ(m_manager->Open("/nonexistent", 9600, 5, 2, 1, true), 0) << "already open";
    EXPECT_EQ(m_manager->IsOpen(), 0);
    m_manager->Close();
    m_manager->Close();
    EXPECT_EQ(TakeTexts(), (Texts{open, open, open, PORT_CLOSE, closed}));

    Texts calls;
    for (const Sim::Call& call : recording.Calls()) {
        if (call.name != "select") {
            calls.push_back(call.name + " " + std::to_string(call.argument));
        }
    }
    const std::string openCall = "open " + std::to_string(O_RDWR | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(calls, (Texts{openCall, openCall, "tcflush " + std::to_string(TCIFLUSH),
                            "tcsetattr " + std::to_string(TCSANOW), "pthread_create 0", "close 0"}));
    Open();
    TakeTexts();
    CUARTMgr::DestroyInstance();
    EXPECT_EQ(TakeTexts(), (Texts{open, open, PORT_CLOSE, "[D] [CUARTMgr::~CUARTMgr] Close Port \n"}));
}

TEST_F(Manager, ADescriptorOfZeroCountsAsClosed)
{
    Sim::Inject(Fault::Returns("open", 0));
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(m_manager->IsOpen(), -1);
    TakeTexts();
    EXPECT_EQ(m_manager->SendPacket(1, nullptr, 0), -1);
    EXPECT_EQ(TakeTexts(), Texts{"[D] [CUARTMgr::SendPacket] Type[0xc8], Cmd[0x1], Datelen[0] \n"});
    m_manager->Close();
    CUARTMgr::DestroyInstance();
    EXPECT_TRUE(TakeTexts().empty());
}

TEST_F(Manager, ClosesAgainWhenTheReceiveThreadCannotBeStarted)
{
    TakeTexts();
    Sim::Inject(Fault::Fails("pthread_create", EAGAIN));
    const Sim::Recording recording;
    EXPECT_EQ(Open(), -1);
    EXPECT_EQ(recording.Calls("close").size(), 1U);
    EXPECT_EQ(m_manager->IsOpen(), -1);
    EXPECT_EQ(TakeTexts(), Texts{PORT_CLOSE});
    EXPECT_EQ(Open(), 0);
}

TEST_F(Manager, AppliesTheTermiosRecord)
{
    const struct {
        int baud, dataBits, stopBits, parity;
        bool flowControl;
        tcflag_t controlFlags;
    } lines[] = {{9600, 8, 1, 0, false, 0xD | 0x30},
                 {19200, 5, 0, 3, false, 0xE},
                 {38400, 6, 2, 2, false, 0xF | 0x10 | 0x40 | 0x100},
                 {57600, 9, 3, -1, true, 0x1001 | 0x30 | 0x80000000},
                 {115200, 7, 2, 1, true, 0x1002 | 0x20 | 0x40 | 0x300 | 0x80000000},
                 {4800, 4, 1, 0, false, 0xD | 0x30},
                 {230400, 8, 1, 0, false, 0xD | 0x30}};
    for (const auto& line : lines) {
        ASSERT_EQ(m_manager->Open(m_pty.Path(), line.baud, line.dataBits, line.stopBits, line.parity, line.flowControl),
                  0);
        const termios applied = Sim::AppliedLine().value();
        EXPECT_EQ(applied.c_iflag, 4U);
        EXPECT_EQ(applied.c_cflag, 0x880 | line.controlFlags);
        EXPECT_EQ(applied.c_oflag | applied.c_lflag | applied.c_ispeed | applied.c_ospeed, 0U);
        Bytes characters(NCCS, 0);
        characters[VSTART] = 0x11;
        characters[VSTOP] = 0x13;
        EXPECT_EQ(Bytes(applied.c_cc, NCCS), characters);
        m_manager->Close();
    }
    Sim::Inject(Fault::Fails("tcflush", EIO));
    Sim::Inject(Fault::Fails("tcsetattr", EINVAL));
    EXPECT_EQ(Open(), 0) << "what the system refuses is ignored";
}

TEST_F(Manager, SendsWithItsOwnBoardType)
{
    TakeTexts();
    EXPECT_EQ(m_manager->SendPacket(1, nullptr, 0), -1);
    EXPECT_EQ(TakeTexts(), Texts{"[D] [CUARTMgr::SendPacket] UART file descriptor Error [-1] \n"});
    ASSERT_EQ(Open(), 0);
    TakeTexts();
    const unsigned char data[] = {1, 2, 3, 4};
    EXPECT_EQ(m_manager->SendPacket(0x0103, data, 4), 0);
    EXPECT_EQ(m_pty.Read(9), (Bytes{0x5A, BOARD_TYPE, 3, 1, 2, 3, 4, 0x5A ^ BOARD_TYPE ^ 7, 3}));
    EXPECT_EQ(TakeTexts().at(0), "[D] [CUARTMgr::SendPacket] Type[0xc8], Cmd[0x103], Datelen[4] \n");
}

/// Events as the receiver posts them, without its thread.
class Dispatch : public Manager {
protected:
    void SetUp() override
    {
        Manager::SetUp();
        ASSERT_EQ(Open(), 0);
        TakeTexts();
    }

    int Parse(unsigned char type, unsigned char cmd)
    {
        m_header = {0x5A, type, cmd};
        for (unsigned char i = 0; i < UART::UART_BODY_LEN; ++i) {
            m_body[i] = i;
        }
        EventMessage message(0, 1000, "RECV", &m_header, m_body, nullptr);
        return m_manager->OnParsing(&message);
    }

    UART::UART_HDR_T m_header = {};
    unsigned char m_body[UART::UART_BODY_LEN] = {};
};

TEST_F(Dispatch, ForwardsEveryCommandToTheApplication)
{
    const char* const names[] = {"READ_VERSION", "COMM_TEST",        "GPO_TEST",         "GPI_TEST",
                                 "PWM_OUT_TEST", "ADC_IN_TEST",      "SPEAKER_OUT_TEST", "EXT_DEVICE_TEST",
                                 "LCD_BLU_TEST", "TOUCH_TEST",       "RTC_TEST",         "RAM_TEST",
                                 "FLASH_TEST",   "CONFIRM_TEST_MODE"};
    for (unsigned char i = 0; i < 14; ++i) {
        const auto cmd = static_cast<unsigned char>(i == 13 ? 255 : i + 1);
        EXPECT_EQ(Parse(static_cast<unsigned char>(1 + 2 * (i % 3)), cmd), 0);
        const bool hasBody = cmd != 1 && cmd != 255;
        EXPECT_EQ(m_application.Take(),
                  (std::vector<Event>{{10000 + cmd, "", Bytes{cmd}, hasBody ? Bytes(m_body, 26) : Bytes(), 0}}));
        const std::string title = std::string("[D] CMD_") + names[i] + " : ";
        EXPECT_EQ(TakeTexts(), (Texts{"[D] [CUARTMgr::OnParsing] OnParsing \n",
                                      title + "000102030405060708090A0B0C0D0E0F\n", title + "10111213141516171819\n"}));
    }
    EXPECT_EQ(m_pty.Read(1, std::chrono::milliseconds(0)), Bytes()) << "the manager itself answers nothing";
}

TEST_F(Dispatch, AnswersABadTypeOrCommandWithTheErrorFrame)
{
    const std::string type = "[E] [CUARTMgr::OnParsing] BOARD_TYPE Error [0x10000004] \n";
    const std::string command = "[E] [CUARTMgr::OnParsing] COMMAND Error [0x10000005] \n";
    const struct {
        unsigned char type, cmd;
        std::string line;
    } cases[] = {{0, 1, type},   {2, 1, type},    {4, 0, type},     {6, 255, type},
                 {255, 1, type}, {3, 0, command}, {1, 14, command}, {5, 254, command}};
    for (const auto& bad : cases) {
        EXPECT_EQ(Parse(bad.type, bad.cmd), 0);
        EXPECT_EQ(m_pty.Read(31), ErrorFrame(BOARD_TYPE));
        EXPECT_EQ(Bytes(m_body, 26), Bytes(26, 0xFF)) << "the received body is overwritten";
        EXPECT_EQ(TakeTexts().at(1), bad.line);
    }
    EXPECT_EQ(m_application.Count(), 0U);
    m_manager->Close();
    EXPECT_EQ(Parse(2, 1), -1) << "the result of sending the error frame";
}

TEST_F(Dispatch, AnswersEveryReceiveErrorWithTheErrorFrame)
{
    for (int error : {UART::ERR_RECV_HEADER, UART::ERR_CHECKSUM, 0}) {
        EventMessage message(0, 1001, "ERR", &error, &m_header, nullptr);
        EXPECT_EQ(m_manager->OnRecvMessage(&message), 0);
        EXPECT_EQ(m_pty.Read(31), ErrorFrame(BOARD_TYPE));
    }
    EventMessage other(0, 1002, "", nullptr, nullptr, nullptr);
    EXPECT_EQ(m_manager->OnRecvMessage(&other), 0);
    TakeTexts();
    EXPECT_EQ(m_manager->OnParsing(nullptr), -1);
    EXPECT_EQ(m_manager->OnError(nullptr), -1);
    EXPECT_EQ(TakeTexts(), (Texts{"[D] [CUARTMgr::OnParsing] OnParsing \n", "[E] [CUARTMgr::OnParsing] Message NULL \n",
                                  "[E] [CUARTMgr::OnError] Message NULL \n"}));
    EXPECT_EQ(m_application.Count(), 0U);
}

TEST_F(Dispatch, ReportsExceptionsOfACommandHandler)
{
    unsigned char cmd = UART::CMD_GPI_TEST;
    m_header = {0x5A, 1, cmd};
    EventMessage message(0, 1000, "RECV", &m_header, m_body, nullptr);
    const auto printed = [&](auto handler) {
        m_application.Handle(handler);
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_manager->OnRecvMessage(&message), 0);
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(printed([](const auto& /*message*/) { Ostrel::Common::Exception::Throw("no sensor"); }),
              "[WebServer::Run] Exception: [no sensor]\n");
    EXPECT_EQ(printed([](const auto& /*message*/) { throw std::runtime_error("standard"); }), "");
    EXPECT_EQ(sentToNobody, (Texts{"1001 no sensor", "1001 standard"}));
    m_application.Handle([](const auto& /*message*/) { throw 7; });
    EXPECT_THROW(m_manager->OnRecvMessage(&message), int);
}

}  // namespace

/// The dynamic linker finds this before the framework's own operation, to which it passes messages on.
__attribute__((visibility("default"))) int Ostrel::Event::EventHandler::SendEventMsg(EventMessage* message)
{
    static const auto next = reinterpret_cast<int (*)(EventHandler*, EventMessage*)>(
        dlsym(RTLD_NEXT, "_ZN6Ostrel5Event12EventHandler12SendEventMsgEPNS0_12EventMessageE"));
    if (message->GetHostID() == 0) {
        sentToNobody.push_back(std::to_string(message->GetEventID()) + " " + message->GetText());
    }
    return next(this, message);
}
