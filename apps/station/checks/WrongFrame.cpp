// wrong_frame: sends a frame that is wrong on purpose. The board must answer it with one error frame, and work on.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

constexpr Seconds TIMEOUT{2};
/// The board reads on 10 ms after what it could not use; by then a second error frame would be on its way.
constexpr Seconds AFTERMATH{0.2};

constexpr int UNKNOWN_COMMAND = 0x55;  // unless the plan names another
constexpr std::size_t CUT_LEN = 12;

/// That no board takes, and that is not the plan's.
unsigned char WrongBoardType(unsigned char boardType)
{
    return boardType == 2 ? 4 : 2;
}

Bytes WrongBytes(const std::string& what, unsigned char boardType, unsigned char unknownCommand)
{
    Bytes frame = MakeFrame(boardType, UART::CMD_CONFIRM_TEST_MODE, {});
    if (what == "checksum") {
        frame[UART::UART_HDR_LEN + UART::UART_BODY_LEN] ^= 1;
    } else if (what == "type") {
        frame = MakeFrame(WrongBoardType(boardType), UART::CMD_CONFIRM_TEST_MODE, {});
    } else if (what == "command") {
        frame = MakeFrame(boardType, unknownCommand, {});
    } else if (what == "cut") {
        frame.resize(CUT_LEN);
    } else {
        frame = {0x5A, 0x00, 0xE7, 0x5A, 0x13, 0x03, 0x81};
    }
    return frame;
}

/// Every byte that came behind what was sent last.
Bytes ReceivedAfterSending(const Transcript& transcript)
{
    Bytes received;
    for (const Traffic& entry : transcript.Entries()) {
        if (entry.kind == Traffic::Kind::Sent) {
            received.clear();
        } else {
            received.insert(received.end(), entry.bytes.begin(), entry.bytes.end());
        }
    }
    return received;
}

class WrongFrame : public Check {
public:
    WrongFrame(std::string what, unsigned char unknownCommand)
        : m_what(std::move(what)), m_unknownCommand(unknownCommand)
    {
    }
    [[nodiscard]] std::string Description() const override
    {
        return "Send a frame that is wrong on purpose: " + m_what;
    }

    Finding CarryOut(Bench& bench) const override
    {
        ++bench.attempts;
        const Bytes frame = WrongBytes(m_what, bench.link.BoardType(), m_unknownCommand);
        bench.link.Transact(frame, UART::CMD_CONFIRM_TEST_MODE, bench.timeout.value_or(TIMEOUT), bench.transcript);
        bench.link.Listen(AFTERMATH, bench.transcript);
        const Bytes received = ReceivedAfterSending(bench.transcript);
        if (bench.link.Stopped()) {
            return {Result::Aborted, "interrupted", {}, {}};
        }
        if (received != MakeErrorFrame(bench.link.BoardType())) {
            const std::string found = received.empty() ? "no answer" : "received " + Hex(received);
            return {Result::Fail, found + ", expected one error frame", {}, {}, true};
        }
        return ConfirmLinkWorks(bench);
    }

private:
    static Finding ConfirmLinkWorks(Bench& bench)
    {
        const Bytes frame = MakeFrame(bench.link.BoardType(), UART::CMD_CONFIRM_TEST_MODE, {});
        const Exchange exchange = bench.link.Transact(frame, UART::CMD_CONFIRM_TEST_MODE, TIMEOUT, bench.transcript);
        if (exchange.outcome == Outcome::Reply) {
            return {Result::Pass, "error frame, and the next command is answered", {}, {}};
        }
        return {Result::Fail,
                "error frame, but the next command is not answered: check the board's software",
                {},
                {},
                true};
    }

    std::string m_what;
    unsigned char m_unknownCommand;
};

}  // namespace

std::unique_ptr<Check> MakeWrongFrame(Parameters& parameters)
{
    const std::string what = parameters.RequiredText("frame", OneOf({"checksum", "type", "command", "cut", "noise"}));
    const int code = what == "command" ? parameters.Integer("code", 0, 255).value_or(UNKNOWN_COMMAND) : UNKNOWN_COMMAND;
    if (UART::FindCommand(static_cast<unsigned char>(code)) != nullptr) {
        parameters.Report("code", "expected a command that the board does not know, found one of the library's");
    }
    return std::make_unique<WrongFrame>(what, static_cast<unsigned char>(code));
}

}  // namespace Station
