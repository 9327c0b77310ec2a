// The sender: bytes of a frame, and what it does when the port takes only part of them or none.
#include "uart/CUARTSender.h"

#include <cerrno>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "sim/SimBoard.h"
#include "tests/support/Log.h"
#include "tests/support/Pty.h"
#include "tests/support/Wait.h"
#include "uart/UARTFrame.h"

namespace {

using Sim::Fault;
using Support::Bytes;
using Support::TakeTexts;
using Support::Texts;

class Sender : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        ASSERT_EQ(pipe(m_pipe), 0);
    }
    void TearDown() override
    {
        close(m_pipe[0]);
        close(m_pipe[1]);
    }

    [[nodiscard]] int Port() const { return m_pipe[1]; }
    [[nodiscard]] Bytes Written(std::size_t count) const { return Support::ReadBytes(m_pipe[0], count); }

    UART::CUARTSender m_sender{"link"};
    int m_pipe[2] = {-1, -1};
};

TEST_F(Sender, FramesDataOfEveryLength)
{
    EXPECT_TRUE(Sim::TakeLog().empty()) << "the constructor logs nothing";
    EXPECT_EQ(m_sender.SendPacket(Port(), 1, 2, nullptr, 0), 0);
    EXPECT_EQ(Written(5), (Bytes{0x5A, 1, 2, 0x59, 3}));
    EXPECT_EQ(TakeTexts("link"), Texts{"[D] Send Packet : 5A01025903\n"});

    const Bytes largest(UART::UART_MAX_DATA_LEN, 0x77);
    EXPECT_EQ(m_sender.SendPacket(Port(), 200, 255, largest.data(), UART::UART_MAX_DATA_LEN), 0);
    const Bytes frame = Written(UART::UART_BUF_SIZE);
    ASSERT_EQ(frame.size(), 4096U);
    EXPECT_EQ(frame.substr(0, 3), (Bytes{0x5A, 200, 255}));
    EXPECT_EQ(frame.substr(3, 4091), largest);
    EXPECT_EQ(frame.substr(4094), (Bytes{0x5A ^ 200 ^ 255 ^ 0x77, 3}));
}

TEST_F(Sender, RefusesWhatCannotBeSent)
{
    const unsigned char data[UART::UART_BUF_SIZE] = {};
    const Sim::Recording recording;
    EXPECT_EQ(m_sender.SendPacket(0, 1, 2, data, 1), -1);
    EXPECT_EQ(m_sender.SendBytes(0, data, 1), -1);
    EXPECT_EQ(m_sender.SendBytes(-1, data, 0), -1);
    EXPECT_EQ(m_sender.SendBytes(Port(), data, 0), 0);
    EXPECT_EQ(m_sender.SendBytes(Port(), data, -3), 0);
    EXPECT_TRUE(Sim::TakeLog().empty());
    EXPECT_EQ(m_sender.SendPacket(Port(), 1, 2, data, UART::UART_MAX_DATA_LEN + 1), -1);
    EXPECT_EQ(m_sender.SendPacket(Port(), 1, 2, nullptr, 1), -1);
    EXPECT_EQ(TakeTexts("link"), (Texts{"[E] [CUARTSender::SendPacket] Data Error, length[4092] \n",
                                        "[E] [CUARTSender::SendPacket] Data Error, length[1] \n"}));
    EXPECT_TRUE(recording.Calls("write").empty());
}

TEST_F(Sender, GoesOnAfterAShortWriteInChunksOf4096)
{
    Bytes data(5000, 0x11);
    data[4999] = 0x22;
    Sim::Inject(Fault::Limits("write", 100));
    const Sim::Recording recording;
    EXPECT_EQ(m_sender.SendBytes(Port(), data.data(), 5000), 5000);
    EXPECT_EQ(Written(5000), data);
    const auto writes = recording.Calls("write");
    ASSERT_EQ(writes.size(), 3U);
    EXPECT_EQ(writes[1].argument, 4096);
    EXPECT_EQ(writes[2].argument, 804);
}

TEST_F(Sender, WaitsForAFullPort)
{
    fcntl(Port(), F_SETFL, O_NONBLOCK);
    const Bytes filling(static_cast<std::size_t>(fcntl(Port(), F_SETPIPE_SZ, 4096)), 0);
    Support::WriteBytes(Port(), filling);
    Texts texts;
    std::thread station([&] {
        EXPECT_TRUE(Support::WaitFor([&] { return !(texts = TakeTexts("link")).empty(); }));
        EXPECT_EQ(Written(filling.size()), filling);
    });
    EXPECT_EQ(m_sender.SendBytes(Port(), "reply", 5), 5);
    station.join();
    EXPECT_EQ(texts[0], "[E] [CUARTSender::SendBytes] EAGAIN write[-1], offset[0] \n");
}

TEST_F(Sender, GivesUpAfterFiftyAttemptsWithoutProgress)
{
    Sim::Inject(Fault::Fails("write", EAGAIN).Times(49));
    Sim::Inject(Fault::Limits("write", 1));
    Sim::Inject(Fault::Fails("write", EAGAIN).Times(50));
    EXPECT_EQ(m_sender.SendPacket(Port(), 1, 2, nullptr, 0), -1);
    Texts expected = {"[D] Send Packet : 5A01025903\n"};
    expected.insert(expected.end(), 49, "[E] [CUARTSender::SendBytes] EAGAIN write[-1], offset[0] \n");
    expected.insert(expected.end(), 50, "[E] [CUARTSender::SendBytes] EAGAIN write[-1], offset[1] \n");
    expected.emplace_back("[E] [CUARTSender::SendBytes] Port stays full, offset[1] \n");
    expected.emplace_back("[E] [CUARTSender::SendPacket] error sending packet \n");
    EXPECT_EQ(TakeTexts("link"), expected);
}

TEST_F(Sender, ReportsAWriteThatFailsOrTakesNothing)
{
    Sim::Inject(Fault::Returns("write", 4));
    EXPECT_EQ(m_sender.SendBytes(1, "data", 4), 4) << "1 is a descriptor like any other";
    Sim::Inject(Fault::Fails("write", EIO));
    errno = 0;
    EXPECT_EQ(m_sender.SendBytes(Port(), "data", 4), -1);
    EXPECT_EQ(errno, EIO);
    Sim::Inject(Fault::Returns("write", 0).Times(2));
    EXPECT_EQ(m_sender.SendBytes(Port(), "data", 4), 0);
    EXPECT_TRUE(TakeTexts().empty());
    EXPECT_EQ(m_sender.SendPacket(Port(), 1, 2, nullptr, 0), -1);
    EXPECT_EQ(TakeTexts().back(), "[E] [CUARTSender::SendPacket] error sending packet \n");
}

}  // namespace
