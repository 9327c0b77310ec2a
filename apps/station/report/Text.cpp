// A run as lines for a person.
#include "apps/station/report/Text.h"

#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace Station {

double ToMicrosecond(Seconds duration)
{
    return std::round(duration.count() * 1e6) / 1e6;
}

std::string Fixed(Seconds duration, int digits)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << duration.count();
    return text.str();
}

std::string LocalTime(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%F %T");
    return text.str();
}

std::string UtcTime(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%FT%T");
    return text.str();
}

std::string ResultLine(const CheckRecord& check)
{
    std::ostringstream line;
    line << std::left << std::setw(24) << Shown(check.name) << "  " << std::setw(8) << Word(check.result) << ' '
         << std::right << std::setw(6) << Fixed(check.duration, 2) << " s  " << Shown(check.message);
    if (check.isOptional) {
        line << " (optional)";
    }
    if (!check.hint.empty()) {
        line << "\n" << std::string(46, ' ') << "Hint: " << Shown(check.hint);
    }
    return line.str();
}

std::string SummaryLine(const RunRecord& run)
{
    std::ostringstream line;
    line << Word(run.verdict) << ": " << Count(run, Result::Pass) << " passed, " << CountFailures(run) << " failed, "
         << Count(run, Result::NotDone) << " not carried out, " << run.checks.size() << " of " << run.planned
         << " checks in " << Fixed(run.end - run.start, 1) << " s";
    if (const long failed = CountOptionalFailures(run); failed > 0) {
        line << ", " << failed << " optional failed";
    }
    if (const long repeated = CountRepeated(run); repeated > 0) {
        line << ", " << repeated << " after a repetition";
    }
    if (const std::string reason = Reason(run); !reason.empty()) {
        line << " (" << Shown(reason) << ')';
    }
    return line.str();
}

std::string TrafficLine(const Traffic& entry)
{
    return (entry.kind == Traffic::Kind::Sent ? "> " : "< ") + Hex(entry.bytes) +
           (entry.kind == Traffic::Kind::Noise ? " (noise)" : "");
}

std::string UtcTimestamp(std::chrono::system_clock::time_point time)
{
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    std::ostringstream text;
    text << UtcTime(time) << '.' << std::setfill('0') << std::setw(3) << sinceEpoch.count() % 1000 << 'Z';
    return text.str();
}

}  // namespace Station
