// read_clock: reads the board's clock, which must run on from what it was set to or, where the plan sets it nowhere,
// show the station's local time.
#include <algorithm>

#include "apps/station/checks/ClockRecord.h"
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// How far a time is outside of a span; 0 inside.
double Outside(double time, double least, double most)
{
    return time < least ? time - least : std::max(time - most, 0.0);
}

class ReadClock : public CommandCheck {
public:
    explicit ReadClock(double deviation) : CommandCheck(UART::CMD_RTC_TEST, {CLOCK_READ}), m_deviation(deviation) {}
    [[nodiscard]] std::string Description() const override { return "Read the clock, which must run on"; }
    /// Only after more than a second, and what it may deviate, is it sure that a clock stands still.
    [[nodiscard]] Seconds Pause() const override { return Seconds{1.2 + m_deviation}; }

protected:
    Bytes Request(Bench& bench) const override
    {
        bench.state.readingBegan = SteadyClock::now();
        return CommandCheck::Request(bench);
    }
    void Explain(const Bytes& values, Bench& bench, Finding& finding) const override
    {
        const auto read = FromClockRecord(values);
        if (!read) {
            finding.result = Result::Fail;
            finding.message = "the clock reads a date that is none: check the real-time clock's driver";
            return;
        }
        const double deviation = Deviation(*read, bench);
        finding.message = ClockText(*read);
        finding.values = {{"clock", ClockText(*read), "", {}},
                          {"deviation", deviation, "s", {-m_deviation, m_deviation, {}}}};
        if (!finding.values[1].IsWithin()) {
            finding.result = Result::Fail;
            finding.message = "reads " + ClockText(*read) + ", " + NumberText(deviation) +
                              " s off: check the real-time clock's oscillator and battery";
        }
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = "the real-time clock does not answer: check /dev/rtc0 and its battery";
    }

private:
    /// Seconds that the clock is off. It was set and is read at some moment of each exchange, and shows whole seconds.
    [[nodiscard]] static double Deviation(std::time_t read, const Bench& bench)
    {
        constexpr double RESOLUTION = 1;
        const auto now = SteadyClock::now();
        const double exchange = Seconds(now - bench.state.readingBegan).count();
        if (!bench.state.clock) {
            return Outside(double(read - LocalTime()), -RESOLUTION - exchange, RESOLUTION);
        }
        const ClockSetting& setting = *bench.state.clock;
        const double least = Seconds(bench.state.readingBegan - setting.ended).count() - RESOLUTION;
        const double most = Seconds(now - setting.began).count() + RESOLUTION;
        return Outside(double(read - setting.to), least, most);
    }

    double m_deviation;  // seconds
};

}  // namespace

std::unique_ptr<Check> MakeReadClock(Parameters& parameters)
{
    return std::make_unique<ReadClock>(parameters.Number("deviation", 0, MOST_DEVIATION).value_or(0));
}

}  // namespace Station
