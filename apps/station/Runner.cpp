// Carries out checks over the link, with retries, and keeps the record.
#include "apps/station/Runner.h"

#include <sstream>
#include <utility>

namespace Station {

namespace {

/// A stray byte shifts the frame behind it, and the next one as well if that follows at once: only when the line falls
/// silent does the board take the next byte as the start of a frame. It waits 10 ms in the middle of a frame.
constexpr Seconds RESYNCHRONISATION{0.1};

/// A board that waits for somebody goes on waiting: a repetition would begin a second test behind the first.
bool IsWorthRepeating(Outcome outcome, unsigned char command)
{
    return outcome == Outcome::ErrorFrame || outcome == Outcome::Damaged ||
           (outcome == Outcome::Silence && CommandTask(command) == nullptr);
}

std::string InSeconds(Seconds duration)
{
    std::ostringstream text;
    text << duration.count() << " s";
    return text.str();
}

Verdict Conclude(const Check& check, const Bytes& request, const Exchange& exchange, unsigned char boardType,
                 Seconds timeout)
{
    switch (exchange.outcome) {
    case Outcome::Reply:
        return Judge(check, request, exchange.reply, boardType);
    case Outcome::ErrorFrame:
        return {
            Result::Fail, "the board answered with the error frame: check the serial cable and --board-type", {}, {}};
    case Outcome::Damaged:
        return {Result::Fail, "the reply was damaged on the line: check the serial cable", {}, {}};
    case Outcome::Silence:
        return {Result::Fail, "no answer within " + InSeconds(timeout) + ": " + SilenceHint(check.code), {}, {}};
    default:
        return {Result::Aborted, INTERRUPTED, {}, {}};
    }
}

/// Judges the reply to a check that the board could carry out.
Verdict JudgeValues(const Check& check, const Bytes& request, const Bytes& values, int status)
{
    Finding finding = Explain(check.code, request, values, status == STATUS_PASS);
    if (status == STATUS_PASS && check.expect) {
        check.expect(values, finding);
    }
    return {finding.good ? Result::Pass : Result::Fail, std::move(finding.words), status, std::move(finding.values)};
}

}  // namespace

Verdict Judge(const Check& check, const Bytes& request, const Bytes& reply, unsigned char boardType)
{
    const Bytes values(reply.begin() + UART::UART_HDR_LEN + 1, reply.end() - UART::UART_TAIL_LEN);
    const int status = reply[UART::UART_HDR_LEN];
    if (reply[1] != boardType) {
        return {Result::Fail,
                "the reply's board type is " + std::to_string(reply[1]) + ", expected " + std::to_string(boardType) +
                    ": check --board-type",
                status,
                {}};
    }
    switch (status) {
    case STATUS_PASS:
    case STATUS_FAIL:
        return JudgeValues(check, request, values, status);
    case STATUS_NOT_SUPPORTED:
        return {Result::Skip, "not supported by the board", status, {}};
    case STATUS_BAD_REQUEST:
        return {Result::Fail, "the board calls the request bad: check its data", status, {}};
    default:
        return {Result::Fail,
                "the reply has the unknown status " + std::to_string(status) + ": check the board's test application",
                status,
                {}};
    }
}

void RunCheck(Link& link, const Policy& policy, const Check& check, CheckRecord& record)
{
    record.code = check.code;
    record.name = check.name;
    link.Listen(check.pause, record.traffic);
    const Seconds timeout = policy.timeout.value_or(CommandTimeout(check.code));
    const Bytes request = check.request();
    const Bytes frame = MakeFrame(link.BoardType(), check.code, request);
    Exchange exchange{};
    do {
        ++record.attempts;
        exchange = link.Transact(frame, check.code, timeout, record.traffic);
        if (IsWorthRepeating(exchange.outcome, check.code)) {
            link.Listen(RESYNCHRONISATION, record.traffic);
        }
    } while (IsWorthRepeating(exchange.outcome, check.code) && record.attempts <= policy.retries);
    Verdict verdict = Conclude(check, request, exchange, link.BoardType(), timeout);
    record.result = verdict.result;
    record.status = verdict.status;
    record.message = std::move(verdict.message);
    record.values = std::move(verdict.values);
    if (record.attempts > 1) {
        record.message += " (" + std::to_string(record.attempts) + " attempts)";
    }
}

std::vector<Step> PlanChecks(Link& link, const Policy& policy, const std::vector<Check>& plan,
                             const std::function<void(const Check&)>& onStart)
{
    std::vector<Step> steps;
    steps.reserve(plan.size());
    for (const Check& check : plan) {
        steps.emplace_back([&, onStart](CheckRecord& record) {
            onStart(check);
            RunCheck(link, policy, check, record);
        });
    }
    return steps;
}

void RunSteps(Link& link, const std::vector<Step>& steps, RunRecord& run,
              const std::function<void(const CheckRecord&)>& onResult)
{
    run.planned = steps.size();
    for (const Step& step : steps) {
        if (link.Stopped()) {
            run.abortReason = INTERRUPTED;
            break;
        }
        CheckRecord& record = run.checks.emplace_back();
        const Seconds start = link.Elapsed();
        try {
            step(record);
        } catch (const PortError& error) {
            record.message = error.what();
        }
        if (const std::size_t dropped = DroppedNoise(record.traffic); dropped > 0) {
            record.message += " (" + std::to_string(dropped) + " more bytes of noise came and were not kept)";
        }
        record.duration = link.Elapsed() - start;
        onResult(record);
        if (record.result == Result::Aborted) {
            run.abortReason = record.message;
            break;
        }
    }
    run.end = run.start + std::chrono::duration_cast<std::chrono::system_clock::duration>(link.Elapsed());
}

}  // namespace Station
