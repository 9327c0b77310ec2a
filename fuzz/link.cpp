// The board's end of the link: whatever the station sends, each 31 bytes, and each rest before a pause, have one reply.
#include "tests/support/Link.h"

#include "fuzz/Fuzz.h"

namespace {

using Support::Bytes;
using Support::Event;

/// The manager with an application that answers every command with its data, and the station's end of its port.
class Board {
public:
    Board()
    {
        Common::Event::CEventRoute::Register(&m_application, "0x1");
        m_application.Handle([this](const Ostrel::Event::EventMessage& message) {
            const Event command = Support::Copy(message);
            m_manager.SendPacket(command.header[0], command.body.data(),
                                 static_cast<unsigned short>(command.body.size()));
        });
        Fuzz::Expect(m_manager.Open(m_line.Path(), 115200, 8, 1, 0, false) == 0, "an open port");
    }

    /// What is sent at once is there before the board reads on.
    Bytes Ask(const Bytes& sent, std::size_t expected)
    {
        m_line.Write(sent);
        return m_line.Read(expected, std::chrono::seconds(60));
    }
    [[nodiscard]] Bytes Rest() const { return m_line.Read(1, std::chrono::milliseconds(0)); }
    std::vector<Event> TakeEvents() { return m_application.Take(); }

private:
    Support::Pty m_line;
    UART::CUARTMgr& m_manager = *UART::CUARTMgr::GetInstance("fuzz", static_cast<char>(Support::BOARD_TYPE));
    Support::KeepingHost m_application;
};

/// What the documentation of the protocol says of a frame.
bool IsCommand(const Bytes& frame)
{
    unsigned char sum = 0;
    for (std::size_t i = 0; i < 29 && i < frame.size(); ++i) {
        sum ^= frame[i];
    }
    return frame.size() == 31 && sum == frame[29] && (frame[1] == 1 || frame[1] == 3 || frame[1] == 5) &&
           ((frame[2] >= 1 && frame[2] <= 13) || frame[2] == 255);
}

/// The reply to the bytes, and the event that the application gets, if any.
Bytes Reply(const Bytes& frame, std::vector<Event>& events)
{
    if (!IsCommand(frame)) {
        return Support::ErrorFrame(Support::BOARD_TYPE);
    }
    const bool hasBody = frame[2] != UART::CMD_READ_VERSION && frame[2] != UART::CMD_CONFIRM_TEST_MODE;
    const Bytes body = hasBody ? frame.substr(3, 26) : Bytes();
    events.push_back({10000 + frame[2], "", frame.substr(2, 1), body, 0});
    Bytes reply(body.size() + 5, 0);
    UART::BuildFrame(reply.data(), Support::BOARD_TYPE, frame[2], body.data(), static_cast<int>(body.size()));
    return reply;
}

/// Up to 124 bytes, most of them frames.
Bytes Piece(FuzzedDataProvider& input)
{
    Bytes piece;
    for (int frames = input.ConsumeIntegralInRange(1, 4); frames > 0; --frames) {
        const std::string raw = input.ConsumeBytesAsString(input.ConsumeIntegralInRange<std::size_t>(0, 31));
        Bytes frame(raw.begin(), raw.end());
        if (input.ConsumeBool()) {
            frame = Support::Frame(input.PickValueInArray<unsigned char>({1, 3, 5, 0, 2}),
                                   input.ConsumeIntegral<unsigned char>(), frame.substr(0, 26));
            frame[30] = input.ConsumeIntegral<unsigned char>();
        }
        piece += frame;
    }
    return piece;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Board& board = *new Board;  // its threads outlive the program's statics
    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() > 0) {
        const Bytes piece = Piece(input);
        std::vector<Event> events;
        Bytes replies;
        for (std::size_t at = 0; at < piece.size(); at += UART::UART_FRAME_LEN) {
            replies += Reply(piece.substr(at, UART::UART_FRAME_LEN), events);
        }
        Fuzz::Expect(board.Ask(piece, replies.size()) == replies, "these replies");
        Fuzz::Expect(board.TakeEvents() == events, "these commands at the application");
    }
    Fuzz::Expect(board.Rest().empty(), "no other reply");
    Sim::TakeLog();
    return 0;
}
