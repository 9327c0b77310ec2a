// set_clock: sets the board's clock to the station's local time, and looks at what it reads then.
#include "apps/station/checks/ClockRecord.h"
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

using SteadyClock = std::chrono::steady_clock;

class SetClock : public CommandCheck {
public:
    explicit SetClock(double deviation) : CommandCheck(UART::CMD_RTC_TEST, {}), m_deviation(deviation) {}
    [[nodiscard]] std::string Description() const override { return "Set the clock to the station's local time"; }

protected:
    Bytes Request(Bench& bench) const override
    {
        bench.state.clock.reset();
        bench.state.settingClock = {LocalTime(), SteadyClock::now(), {}};
        Bytes request = ToClockRecord(bench.state.settingClock.to);
        request.resize(CLOCK_SET_LEN);
        request.insert(request.begin(), CLOCK_SET);
        return request;
    }
    void Explain(const Bytes& values, Bench& bench, Finding& finding) const override
    {
        ClockSetting& setting = bench.state.settingClock;
        setting.ended = SteadyClock::now();
        bench.state.clock = setting;
        const auto read = FromClockRecord(values);
        if (!read) {
            finding.result = Result::Fail;
            finding.message = "the clock reads a date that is none: check the real-time clock's driver";
            return;
        }
        finding.message = ClockText(*read);
        finding.values = {{"clock", ClockText(*read), "", {}},
                          {"deviation", double(*read - setting.to), "s", {0.0, m_deviation, {}}}};
        if (!finding.values[1].IsWithin()) {
            finding.result = Result::Fail;
            finding.message = "set to " + ClockText(setting.to) + ", reads " + ClockText(*read) +
                              ": check the real-time clock, /dev/rtc0, and its battery";
        }
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = "the real-time clock does not take the time: check /dev/rtc0 and its battery";
    }

private:
    double m_deviation;  // seconds
};

}  // namespace

std::unique_ptr<Check> MakeSetClock(Parameters& parameters)
{
    constexpr double DEVIATION = 3;
    return std::make_unique<SetClock>(parameters.Number("deviation", 0, MOST_DEVIATION).value_or(DEVIATION));
}

}  // namespace Station
