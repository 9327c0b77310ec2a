// A check that is one command of the board and its reply.
#include "apps/station/checks/CommandCheck.h"

#include <algorithm>

namespace Station {

namespace {

constexpr Seconds MOST_QUIET_WAIT{10};  // the board works off the 4 KiB that its port buffers within 5 s

/// A board that waits for somebody goes on waiting: a repetition would begin a second test behind the first.
bool IsWorthRepeating(Outcome outcome, bool waitsForPerson)
{
    return outcome == Outcome::ErrorFrame || outcome == Outcome::Damaged ||
           (outcome == Outcome::Silence && !waitsForPerson);
}

}  // namespace

Finding CommandCheck::CarryOut(Bench& bench) const
{
    Finding finding;
    const Bytes frame = MakeFrame(bench.link.BoardType(), m_code, Request(bench));
    const Seconds timeout = bench.timeout.value_or(Timeout());
    if (WaitsForPerson()) {
        bench.people.Tell(Task());
    }
    const Exchange exchange = Send(frame, timeout, bench);
    finding.isLinkInDoubt = exchange.outcome != Outcome::Reply || bench.attempts > 1;
    finding.isUnanswered = exchange.outcome == Outcome::Silence;
    switch (exchange.outcome) {
    case Outcome::Reply:
        Judge(exchange, bench, finding);
        break;
    case Outcome::ErrorFrame:
        finding.message =
            UART::FindCommand(m_code) == nullptr
                ? "the board does not know " + CommandName(m_code) + ": check the plan, or the board's software"
                : "the board answered with the error frame: check the serial cable, and the plan's board_type";
        break;
    case Outcome::Damaged:
        finding.message = "the reply was damaged on the line: check the serial cable";
        break;
    case Outcome::Silence:
        finding.message = TellSilence(exchange, timeout);
        break;
    default:
        finding.result = Result::Aborted;
        finding.message = "interrupted";
        break;
    }
    return finding;
}

Exchange CommandCheck::Send(const Bytes& frame, Seconds timeout, Bench& bench) const
{
    Exchange exchange;
    bool isAgain = true;
    while (isAgain) {
        ++bench.attempts;
        exchange = bench.link.Transact(frame, m_code, timeout, bench.transcript);
        isAgain = IsWorthRepeating(exchange.outcome, WaitsForPerson());
        // On a line that never falls silent a repetition is lost as well.
        isAgain = isAgain && bench.link.AwaitQuiet(MOST_QUIET_WAIT, bench.transcript);
        isAgain = isAgain && bench.attempts <= bench.retries;
    }
    return exchange;
}

void CommandCheck::Judge(const Exchange& exchange, Bench& bench, Finding& finding) const
{
    const Bytes values(exchange.reply.begin() + UART::UART_HDR_LEN + 1, exchange.reply.end() - UART::UART_TAIL_LEN);
    const int type = exchange.reply[1];
    finding.status = exchange.reply[UART::UART_HDR_LEN];
    if (type != bench.link.BoardType()) {
        finding.message = "the reply's board type is " + std::to_string(type) + ", expected " +
                          std::to_string(bench.link.BoardType()) + ": check the plan's board_type";
        return;
    }
    switch (*finding.status) {
    case STATUS_PASS:
        finding.result = Result::Pass;
        finding.message = "ok";
        Explain(values, bench, finding);
        HoldAgainstLimits(finding);
        break;
    case STATUS_FAIL:
        ExplainFailure(values, finding);
        break;
    case STATUS_NOT_SUPPORTED:
        finding.message =
            "the board does not support this: take it out of the plan, or put other software on the board";
        break;
    case STATUS_BAD_REQUEST:
        finding.message = "the board calls the request bad: check the check's parameters in the plan";
        break;
    default:
        finding.message = "the reply has the unknown status " + std::to_string(*finding.status) +
                          ": check the board's test application";
        break;
    }
}

std::string CommandCheck::TellSilence(const Exchange& exchange, Seconds timeout) const
{
    const std::string within = "no answer within " + NumberText(timeout.count()) + " s";
    if (exchange.other) {
        return within + ", but a reply to " + CommandName(*exchange.other) + ": check the board's test application";
    }
    if (exchange.noise > 0) {
        return within + ", but " + std::to_string(exchange.noise) +
               " bytes that are no reply: check the speed and the other line settings, and the serial cable";
    }
    if (WaitsForPerson()) {
        return within +
               ": nobody did it, or the board does not notice; until somebody does, it answers no other command";
    }
    return within + ": check that the board is switched on, the serial cable, and the board's test application";
}

Bytes CommandCheck::Request(Bench& /*bench*/) const
{
    return m_data;
}

void CommandCheck::Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& /*finding*/) const {}

void CommandCheck::ExplainFailure(const Bytes& /*values*/, Finding& finding) const
{
    finding.message = "the check failed on the board: see the board's system log";
}

std::string CommandName(unsigned char code)
{
    const UART::UART_COMMAND_T* const command = UART::FindCommand(code);
    return command != nullptr ? command->name : "command 0x" + Hex({code});
}

std::string TextOf(const Bytes& bytes, std::size_t start)
{
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(start, bytes.size()));
    std::string text(begin, std::find(begin, bytes.end(), 0));
    const auto isUnprintable = [](char letter) { return letter < ' ' || letter > '~'; };
    std::replace_if(text.begin(), text.end(), isUnprintable, '?');
    return text;
}

}  // namespace Station
