// Frames that are wrong on purpose: the board must answer each with the error frame, and work on.
#include "apps/station/BadFrames.h"

#include <utility>

namespace Station {

namespace {

constexpr Seconds TIMEOUT{2};
/// The board reads on 10 ms after what it could not use; by then a second error frame would be on its way.
constexpr Seconds AFTERMATH{0.2};

constexpr unsigned char UNKNOWN_COMMAND = 0x55;
constexpr unsigned char WRONG_BOARD_TYPE = 2;
constexpr std::size_t CUT_LEN = 12;

struct BadFrame {
    const char* name;
    Bytes bytes;
};

std::vector<BadFrame> MakeBadFrames(unsigned char boardType)
{
    const Bytes good = MakeFrame(boardType, UART::CMD_CONFIRM_TEST_MODE, {});
    Bytes wrongChecksum = good;
    wrongChecksum[UART::UART_HDR_LEN + UART::UART_BODY_LEN] ^= 1;
    return {
        {"wrong checksum", wrongChecksum},
        {"wrong board type", MakeFrame(WRONG_BOARD_TYPE, UART::CMD_CONFIRM_TEST_MODE, {})},
        {"unknown command", MakeFrame(boardType, UNKNOWN_COMMAND, {})},
        {"frame cut short", {good.begin(), good.begin() + CUT_LEN}},
        {"noise", {0x5A, 0x00, 0xE7, 0x5A, 0x13, 0x03, 0x81}},
    };
}

Bytes ReceivedAfterSending(const std::vector<Traffic>& traffic)
{
    Bytes received;
    for (const Traffic& entry : traffic) {
        if (entry.kind == Traffic::Kind::Sent) {
            received.clear();
        } else {
            received.insert(received.end(), entry.bytes.begin(), entry.bytes.end());
        }
    }
    return received;
}

/// Sends a good command after the bad frame and takes its result over.
void ConfirmLinkWorks(Link& link, const Policy& policy, CheckRecord& record)
{
    const Policy once{0, policy.timeout};
    CheckRecord confirm;
    confirm.traffic = record.traffic;
    RunCheck(link, once, PlainCheck(UART::CMD_CONFIRM_TEST_MODE, {}), confirm);
    record.traffic = std::move(confirm.traffic);
    record.result = confirm.result == Result::Skip ? Result::Fail : confirm.result;
    record.message = "error frame, then " + confirm.name + ": " + confirm.message;
}

void RunBadFrame(Link& link, const Policy& policy, const BadFrame& bad, CheckRecord& record)
{
    record.name = bad.name;
    record.attempts = 1;
    link.Transact(bad.bytes, UART::CMD_CONFIRM_TEST_MODE, policy.timeout.value_or(TIMEOUT), record.traffic);
    link.Listen(AFTERMATH, record.traffic);
    const Bytes received = ReceivedAfterSending(record.traffic);
    if (link.Stopped()) {
        record.message = INTERRUPTED;
    } else if (received == MakeErrorFrame(link.BoardType())) {
        ConfirmLinkWorks(link, policy, record);
    } else {
        record.result = Result::Fail;
        record.message = received.empty() ? "no answer" : "expected one error frame, received " + Hex(received);
    }
}

}  // namespace

std::vector<Step> PlanBadFrames(Link& link, const Policy& policy)
{
    std::vector<Step> steps;
    for (BadFrame& bad : MakeBadFrames(link.BoardType())) {
        steps.emplace_back(
            [&link, &policy, bad = std::move(bad)](CheckRecord& record) { RunBadFrame(link, policy, bad, record); });
    }
    return steps;
}

}  // namespace Station
