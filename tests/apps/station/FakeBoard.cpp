// A board at the far end of a pseudo-terminal that answers as a test tells it to.
#include "FakeBoard.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "apps/station/Commands.h"

using Station::Bytes;
using Station::MakeErrorFrame;
using Station::MakeFrame;

FakeBoard::FakeBoard(Answer answer) : m_answer(std::move(answer)), m_board(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    if (m_board < 0 || grantpt(m_board) != 0 || unlockpt(m_board) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    m_port = ptsname(m_board);
    m_station = open(m_port.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    cfmakeraw(&raw);
    tcsetattr(m_station, TCSANOW, &raw);
    m_thread = std::thread(&FakeBoard::Serve, this);
}

FakeBoard::~FakeBoard()
{
    m_stop = true;
    m_thread.join();
    HangUp();
    close(m_station);
}

void FakeBoard::Send(const Bytes& bytes) const
{
    if (write(m_board, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the pseudo-terminal does not take the reply");
    }
}

void FakeBoard::SendInPieces(const Bytes& bytes) const
{
    for (const unsigned char byte : bytes) {
        Send({byte});
        AwaitUnread(0);
    }
}

void FakeBoard::AwaitUnread(int count) const
{
    int unread = -1;
    while (unread != count && !m_stop) {
        ioctl(m_station, FIONREAD, &unread);
        std::this_thread::yield();
    }
}

void FakeBoard::HangUp()
{
    if (m_board >= 0) {
        close(m_board);
    }
    m_board = -1;
}

void FakeBoard::Healthy(FakeBoard& board, const Bytes& received)
{
    const bool good = received.size() == UART::UART_FRAME_LEN && received[1] == 1 &&
                      received == MakeFrame(1, received[2], {received.begin() + 3, received.end() - 2});
    if (!good || UART::FindCommand(received[2]) == nullptr) {
        board.Send(MakeErrorFrame(1));
        return;
    }
    switch (received[2]) {
    case UART::CMD_READ_VERSION:
        return board.Send(Reply(received, {0, 1, 0, 1, 0, 1, 0}));
    case UART::CMD_GPO_TEST:
        board.m_outputs = {received[3], received[4]};
        return board.Send(Reply(received, {0}));
    case UART::CMD_GPI_TEST:
        return board.Send(Reply(received, {0, board.m_outputs[0], board.m_outputs[1]}));
    case UART::CMD_RTC_TEST:
        return board.Send(Reply(received, board.Clock(received)));
    case UART::CMD_EXT_DEVICE_TEST:
        return board.Send(
            Reply(received, received[3] == 3 ? Bytes{0, '1', '0', '.', '0', '.', '0', '.', '1'} : Bytes{0}));
    case UART::CMD_ADC_IN_TEST:
    case UART::CMD_SPEAKER_OUT_TEST:
    case UART::CMD_RAM_TEST:
    case UART::CMD_FLASH_TEST:
        return board.Send(Reply(received, {2}));
    default:
        return board.Send(Reply(received, {0}));
    }
}

/// Sets or reads the clock: the status, and what it reads.
Bytes FakeBoard::Clock(const Bytes& received)
{
    const auto now = std::chrono::steady_clock::now();
    if (received[3] == 1) {
        m_clock = Station::CalendarTime(&received[4]);
        m_clockSet = now;
    }
    Bytes data =
        Station::ClockBytes(m_clock + std::chrono::duration_cast<std::chrono::seconds>(now - m_clockSet).count());
    data.insert(data.begin(), 0);
    return data;
}

Bytes FakeBoard::Reply(const Bytes& request, const Bytes& data)
{
    return MakeFrame(1, request[2], data);
}

void FakeBoard::Serve()
{
    while (!m_stop && m_board >= 0) {
        const Bytes received = Receive();
        if (!received.empty()) {
            ++m_received;
            m_answer(*this, received);
        }
    }
}

Bytes FakeBoard::Receive() const
{
    constexpr int PAUSE = 30;  // ms
    Bytes received;
    pollfd waiting{m_board, POLLIN, 0};
    while (received.size() < UART::UART_FRAME_LEN && poll(&waiting, 1, PAUSE) > 0) {
        Bytes chunk(UART::UART_FRAME_LEN - received.size());
        const ssize_t count = read(m_board, chunk.data(), chunk.size());
        received.insert(received.end(), chunk.begin(), chunk.begin() + std::max<ssize_t>(count, 0));
    }
    return received;
}
