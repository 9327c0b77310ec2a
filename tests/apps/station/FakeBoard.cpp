// What the station's tests share.
#include "FakeBoard.h"

#include <cstdio>
#include <fstream>

#include <sys/ioctl.h>

#include "apps/station/checks/ClockRecord.h"
#include "tests/support/Program.h"

using Station::Bytes;
using Station::MakeFrame;

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
    Bytes data = Station::ToClockRecord(Station::LocalTime() + later);
    data.insert(data.begin(), 0);
    Reply(request, data);
}

void FakeBoard::AwaitUnread(int count) const
{
    int unread = -1;
    while (unread != count && !m_stop) {
        ioctl(m_station, FIONREAD, &unread);
        // Yielding, it would lose its turn on a busy machine.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
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
    case UART::CMD_EXT_DEVICE_TEST: {
        const std::string address = received[3] == Protocol::DEVICE_ADDRESS ? "192.168.1.10" : "";
        Bytes data(1, 0);
        data.insert(data.end(), address.begin(), address.end());
        return board.Reply(received, data);
    }
    case UART::CMD_TOUCH_TEST:
        return board.Reply(received,
                           {0, 0, 50, 0, 53, 2, 0xEE, 0, 50, 2, 0xEE, 1, 0xAE, 0, 50, 1, 0xAE, 1, 0x90, 0, 240});
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

FakeBoard::Answer FakeBoard::Replying(unsigned char command, Bytes data)
{
    return [command, data = std::move(data)](FakeBoard& board, const Bytes& received) {
        received[2] == command ? board.Reply(received, data) : Healthy(board, received);
    };
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

Station::Plan PlanOf(const std::string& toml, const Station::Overrides& settings)
{
    const std::string path = Support::TemporaryPath("plan.toml");
    std::ofstream(path) << (toml.find("name = \"Test plan\"") == std::string::npos ? "name = \"Test plan\"\n" : "")
                        << toml;
    try {
        Station::Plan plan = Station::ReadPlan(path, settings);
        std::remove(path.c_str());
        return plan;
    } catch (const Station::PlanError& error) {
        std::remove(path.c_str());
        std::string text = error.what();
        for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path)) {
            text.replace(at, path.size(), "plan");
        }
        throw Station::PlanError(text);
    }
}

Station::RunRecord RunPlan(const FakeBoard& board, const Station::Plan& plan, Station::RunOptions options,
                           std::optional<bool> answer)
{
    static const std::atomic<bool> never{false};
    FakeOperator people(answer);
    Station::RecordSink viewer;
    FakeRecords records;
    options.port = board.Port();
    return Station::Runner(plan, std::move(options), people, {records, viewer}, never).Run();
}

Station::RunRecord RunPlan(FakeBoard::Answer answer, const std::string& toml, std::optional<bool> yes)
{
    const FakeBoard board(std::move(answer));
    return RunPlan(board, PlanOf(toml), {}, yes);
}

std::string Told(const Station::CheckRecord& check)
{
    return std::string(Word(check.result)) + ": " + check.message;
}

std::vector<std::string> Told(const Station::RunRecord& run)
{
    std::vector<std::string> told;
    for (const Station::CheckRecord& check : run.checks) {
        told.push_back(Told(check));
    }
    return told;
}
