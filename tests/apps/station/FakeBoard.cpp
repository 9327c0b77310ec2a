// A board at the far end of a pseudo-terminal that answers as a test tells it to.
#include "FakeBoard.h"

#include <sys/ioctl.h>

using Station::Bytes;
using Station::MakeFrame;

Bytes TouchBytes(const Station::Points& points)
{
    Bytes bytes;
    for (const int number : Station::ToNumbers(points)) {
        bytes.push_back(static_cast<unsigned char>(number >> 8));
        bytes.push_back(static_cast<unsigned char>(number));
    }
    return bytes;
}

FakeBoard::FakeBoard(Answer answer)
    : m_answer(std::move(answer)),
      m_station(open(Port().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)),
      m_thread(&FakeBoard::Serve, this)
{
}

FakeBoard::~FakeBoard()
{
    m_stop = true;
    m_thread.join();
    close(m_station);
}

void FakeBoard::Reply(const Bytes& request, const Bytes& data) const
{
    Send(MakeFrame(1, request[2], data));
}

void FakeBoard::ReplyTime(const Bytes& request, int later) const
{
    Bytes data = Station::ClockBytes(StationTime() + later);
    data.insert(data.begin(), 0);
    Reply(request, data);
}

void FakeBoard::ReplyTouches(const Bytes& request, unsigned char status, const Station::Points& points) const
{
    Bytes data = TouchBytes(points);
    data.insert(data.begin(), status);
    Reply(request, data);
}

void FakeBoard::AwaitUnread(int count) const
{
    int unread = -1;
    while (unread != count && !m_stop) {
        ioctl(m_station, FIONREAD, &unread);
        std::this_thread::yield();
    }
}

void FakeBoard::Healthy(FakeBoard& board, const Bytes& received)
{
    const bool good = received.size() == UART::UART_FRAME_LEN && received[1] == 1 &&
                      received == MakeFrame(1, received[2], {received.begin() + 3, received.end() - 2});
    if (!good || UART::FindCommand(received[2]) == nullptr) {
        return board.Send(Station::MakeErrorFrame(1));
    }
    switch (received[2]) {
    case UART::CMD_READ_VERSION:
        return board.Reply(received, {0, 1, 0, 1, 0, 1, 0});
    case UART::CMD_GPO_TEST:
        board.m_outputs = {received[3], received[4]};
        return board.Reply(received, {0});
    case UART::CMD_GPI_TEST:
        return board.Reply(received, {0, board.m_outputs[0], board.m_outputs[1]});
    case UART::CMD_TOUCH_TEST:
        return board.ReplyTouches(received, 0, {{{50, 53}, {750, 50}, {750, 430}, {50, 430}, {400, 240}}});
    case UART::CMD_RTC_TEST:
        return board.ReplyTime(received);
    case UART::CMD_ADC_IN_TEST:
    case UART::CMD_SPEAKER_OUT_TEST:
    case UART::CMD_RAM_TEST:
    case UART::CMD_FLASH_TEST:
        return board.Reply(received, {2});
    default:
        return board.Reply(received, {0});
    }
}

void FakeBoard::Serve()
{
    constexpr std::chrono::milliseconds PAUSE{30};
    while (!m_stop && m_pty.Fd() >= 0) {
        const Support::Bytes received = m_pty.Read(UART::UART_FRAME_LEN, PAUSE);
        if (!received.empty()) {
            ++m_received;
            m_answer(*this, {received.begin(), received.end()});
        }
    }
}
