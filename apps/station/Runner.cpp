// Carries out checks over the link, with retries, and keeps the record.
#include "apps/station/Runner.h"

#include <sstream>
#include <utility>

namespace Station {

namespace {

bool IsWorthRepeating(Outcome outcome)
{
    return outcome == Outcome::ErrorFrame || outcome == Outcome::Damaged || outcome == Outcome::Silence;
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
        return {Result::Fail, "the board answered with the error frame", {}};
    case Outcome::Damaged:
        return {Result::Fail, "the reply was damaged on the line", {}};
    case Outcome::Silence:
        return {Result::Fail, "no answer within " + InSeconds(timeout), {}};
    default:
        return {Result::Aborted, INTERRUPTED, {}};
    }
}

}  // namespace

void RunCheck(Link& link, const Policy& policy, const Check& check, const Bytes& request, CheckRecord& record)
{
    record.code = check.code;
    record.name = CommandName(check.code);
    const Seconds timeout = policy.timeout.value_or(check.timeout);
    const Bytes frame = MakeFrame(link.BoardType(), check.code, request);
    Exchange exchange{};
    do {
        ++record.attempts;
        exchange = link.Transact(frame, check.code, timeout, record.traffic);
    } while (IsWorthRepeating(exchange.outcome) && record.attempts <= policy.retries);
    Verdict verdict = Conclude(check, request, exchange, link.BoardType(), timeout);
    record.result = verdict.result;
    record.status = verdict.status;
    record.message = std::move(verdict.message);
    if (record.attempts > 1) {
        record.message += " (" + std::to_string(record.attempts) + " attempts)";
    }
}

std::vector<Step> PlanChecks(Link& link, const Policy& policy)
{
    std::vector<Step> steps;
    for (const Check& check : Checks()) {
        steps.emplace_back(
            [&link, &policy, &check](CheckRecord& record) { RunCheck(link, policy, check, check.request, record); });
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
