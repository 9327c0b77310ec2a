// The plan of a run: one entry per check says what is sent and what must come back.
#include "apps/station/Plan.h"

#include <chrono>
#include <ctime>
#include <memory>
#include <utility>

#include "apps/station/Frame.h"

namespace Station {

namespace {

constexpr unsigned char HALF = 128;  // of 256
constexpr unsigned char FULL = 100;  // if the display driver counts in percent: its range is its own

std::function<Bytes()> Always(Bytes request)
{
    return [request = std::move(request)] { return request; };
}

std::function<Bytes()> Text(const std::string& text, Bytes before = {})
{
    before.insert(before.end(), text.begin(), text.end());
    return Always(std::move(before));
}

Check Entry(unsigned char code, const char* suffix, std::string description, std::function<Bytes()> request,
            std::function<void(const Bytes&, Finding&)> expect = nullptr, Seconds pause = Seconds{0})
{
    return {code, CommandName(code) + suffix, std::move(description), std::move(request), std::move(expect), pause};
}

/// Each output is wired to the input of its number.
void ExpectInputs(const Bytes& driven, const Bytes& values, Finding& finding)
{
    finding.good = values[0] == driven[0] && values[1] == driven[1];
    finding.words +=
        finding.good ? ", as driven" : ", expected " + Hex(driven) + ": check the wiring from outputs to inputs";
    finding.values.emplace_back("expected", Numbers{driven[0], driven[1]});
}

/// Sets the board's clock, and looks later whether it runs on.
class ClockWatch {
public:
    /// Begins to set the clock to the station's local time.
    Bytes BeginSetting()
    {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        m_wanted = timegm(&local);
        m_settingBegan = Clock::now();
        Bytes request = ClockBytes(m_wanted);
        request.back() = 0;  // takes no weekday
        request.insert(request.begin(), CLOCK_SET);
        return request;
    }

    void EndSetting()
    {
        m_settingEnded = Clock::now();
        m_isSet = true;
    }

    Bytes BeginReading()
    {
        m_readingBegan = Clock::now();
        return {CLOCK_READ};
    }

    /// The clock was set and read at some moment of each exchange, and shows whole seconds. Of a clock that does not
    /// take a time nothing is expected.
    void EndReading(const Bytes& values, Finding& finding) const
    {
        constexpr Seconds RESOLUTION{1};
        const std::time_t read = CalendarTime(values.data());
        const Seconds step{read - m_wanted};
        const Seconds least = m_readingBegan - m_settingEnded;
        const Seconds most = Clock::now() - m_settingBegan;
        if (m_isSet && (step <= least - RESOLUTION || step >= most + RESOLUTION)) {
            const std::time_t expected = m_wanted + static_cast<std::time_t>(least.count());
            finding.good = false;
            finding.words = "reads " + ClockText(read) + ", expected " + ClockText(expected) +
                            ": check the real-time clock's oscillator and battery";
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    bool m_isSet = false;
    std::time_t m_wanted = 0;
    Clock::time_point m_settingBegan;
    Clock::time_point m_settingEnded;
    Clock::time_point m_readingBegan;
};

/// Only after more than a second is it sure that a clock stands still.
constexpr Seconds CLOCK_PAUSE{1.2};

}  // namespace

std::vector<Check> MakePlan(const PlanSettings& settings)
{
    using namespace UART;
    const Bytes pattern = {0xA5, 0x3C};
    const Bytes inverted = {0x5A, 0xC3};
    const auto inputs = [](const Bytes& driven) {
        return [driven](const Bytes& values, Finding& finding) { ExpectInputs(driven, values, finding); };
    };
    const auto watch = std::make_shared<ClockWatch>();
    const auto beginSetting = [watch] { return watch->BeginSetting(); };
    const auto endSetting = [watch](const Bytes& /*values*/, Finding& /*finding*/) { watch->EndSetting(); };
    const auto beginReading = [watch] { return watch->BeginReading(); };
    const auto endReading = [watch](const Bytes& values, Finding& finding) { watch->EndReading(values, finding); };
    const auto touchTargets = TouchTargets(settings.screen, TOUCH_MARGIN);
    const auto endTouching = [touchTargets, tolerance = settings.tolerance](const Bytes& values, Finding& finding) {
        ExpectTouches(touchTargets, tolerance, values, finding);
    };
    const Seconds view{settings.view};
    return {
        Entry(CMD_READ_VERSION, "", "Read the hardware and library versions", Always({})),
        Entry(CMD_COMM_TEST, "", "Send a text through the loopback plug", Text("0123456789")),
        Entry(CMD_GPO_TEST, "", "Set the digital outputs to " + Hex(pattern), Always(pattern)),
        Entry(CMD_GPI_TEST, "", "Read the digital inputs, wired to the outputs", Always({}), inputs(pattern)),
        Entry(CMD_GPO_TEST, "/inverted", "Set the digital outputs to " + Hex(inverted), Always(inverted)),
        Entry(CMD_GPI_TEST, "/inverted", "Read the digital inputs again", Always({}), inputs(inverted)),
        Entry(CMD_PWM_OUT_TEST, "", "Set the PWM outputs to 3", Always({3})),
        Entry(CMD_ADC_IN_TEST, "", "Check the analogue inputs", Always({})),
        Entry(CMD_SPEAKER_OUT_TEST, "", "Check the loudspeaker", Always({})),
        Entry(CMD_EXT_DEVICE_TEST, "/disk", "Mount USB disk " + std::to_string(settings.disk),
              Always({DEVICE_DISK, static_cast<unsigned char>(settings.disk)})),
        Entry(CMD_EXT_DEVICE_TEST, "/file", "Write " + settings.file + " and read it back",
              Text(settings.file, {DEVICE_FILE})),
        Entry(CMD_EXT_DEVICE_TEST, "/ping", "Ping " + settings.ping, Text(settings.ping, {DEVICE_PING})),
        Entry(CMD_EXT_DEVICE_TEST, "/address", "Read the address of " + settings.interface,
              Text(settings.interface, {DEVICE_ADDRESS})),
        Entry(CMD_LCD_BLU_TEST, "/black", "Clear the screen to black", Always({DISPLAY_BLACK})),
        Entry(CMD_LCD_BLU_TEST, "/white", "Clear the screen to white", Always({DISPLAY_WHITE}), nullptr, view),
        Entry(CMD_LCD_BLU_TEST, "/bars", "Show colour bars", Always({DISPLAY_COLOUR_BARS}), nullptr, view),
        Entry(CMD_LCD_BLU_TEST, "/dim", "Dim the picture to one half", Always({DISPLAY_DIM, HALF}), nullptr, view),
        Entry(CMD_LCD_BLU_TEST, "/brightness", "Set the display's brightness to " + std::to_string(FULL),
              Always({DISPLAY_BRIGHTNESS, FULL}), nullptr, view),
        Entry(CMD_RTC_TEST, "/set", "Set the clock to the station's local time", beginSetting, endSetting),
        Entry(CMD_RTC_TEST, "/read", "Read the clock, which must run on", beginReading, endReading, CLOCK_PAUSE),
        Entry(CMD_RAM_TEST, "", "Check the RAM", Always({})),
        Entry(CMD_FLASH_TEST, "", "Check the flash memory", Always({})),
        Entry(CMD_CONFIRM_TEST_MODE, "", "Ask whether the board is in test mode", Always({})),
        Entry(CMD_TOUCH_TEST, "", "Have the operator touch five targets", Always({TOUCH_MARGIN}), endTouching),
    };
}

Check PlainCheck(unsigned char code, Bytes request)
{
    return Entry(code, "", "", Always(std::move(request)));
}

}  // namespace Station
