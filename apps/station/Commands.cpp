// What the station knows of each command: how long it may take, and what a reply says.
#include "apps/station/Commands.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <iterator>
#include <sstream>

#include "apps/station/Frame.h"
#include "apps/station/Touch.h"

namespace Station {

namespace {

constexpr Seconds QUICK{5};

constexpr const char* NO_STATUS_DRIVER = "the status driver does not open: check /dev/dev_status";

/// A byte of the request; those that were left out are sent as 0.
unsigned char ByteAt(const Bytes& request, std::size_t position)
{
    return position < request.size() ? request[position] : 0;
}

/// The text from `start` up to its zero byte; whatever is not printable is replaced.
std::string Text(const Bytes& bytes, std::size_t start)
{
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(start, bytes.size()));
    std::string text(begin, std::find(begin, bytes.end(), 0));
    const auto unprintable = [](char letter) { return letter < ' ' || letter > '~'; };
    std::replace_if(text.begin(), text.end(), unprintable, '?');
    return text;
}

Finding ExplainPlain(const Bytes& /*request*/, const Bytes& /*values*/, bool passed)
{
    return {passed, passed ? "ok" : "the check failed on the board: see the board's system log", {}};
}

Finding ExplainVersion(const Bytes& /*request*/, const Bytes& values, bool passed)
{
    if (!passed) {
        return {false, NO_STATUS_DRIVER, {}};
    }
    const auto number = [&values](std::size_t position) { return std::to_string(values[position]); };
    const std::string library = number(3) + '.' + number(4) + '.' + number(5);
    return {true,
            "hardware " + number(0) + ' ' + number(1) + ' ' + number(2) + ", library " + library,
            {{"hardware_version", Numbers{values[0], values[1], values[2]}}, {"library_version", library}}};
}

Finding ExplainLoopback(const Bytes& request, const Bytes& values, bool passed)
{
    return {passed,
            passed ? "came back" : "did not come back: check the loopback plug on the second serial port",
            {{"text", Text(request, 0)}, {"result_code", values[0]}}};
}

Finding ExplainOutputs(const Bytes& request, const Bytes& /*values*/, bool passed)
{
    const Bytes outputs = {ByteAt(request, 0), ByteAt(request, 1)};
    return {passed,
            passed ? "outputs set to " + Hex(outputs) : NO_STATUS_DRIVER,
            {{"outputs", Numbers{outputs[0], outputs[1]}}}};
}

Finding ExplainInputs(const Bytes& /*request*/, const Bytes& values, bool passed)
{
    if (!passed) {
        return {false, NO_STATUS_DRIVER, {}};
    }
    return {true, "inputs " + Hex({values[0], values[1]}), {{"inputs", Numbers{values[0], values[1]}}}};
}

Finding ExplainPwm(const Bytes& request, const Bytes& /*values*/, bool passed)
{
    const int setting = ByteAt(request, 0);
    return {
        passed, passed ? "PWM outputs set to " + std::to_string(setting) : NO_STATUS_DRIVER, {{"setting", setting}}};
}

Finding ExplainDisk(const Bytes& request, const Bytes& /*values*/, bool passed)
{
    const int index = ByteAt(request, 1);
    const std::string disk = "disk " + std::to_string(index);
    return {passed,
            disk + (passed ? " mounts" : " does not mount: check that a FAT-formatted USB disk is plugged in"),
            {{"disk", index}}};
}

Finding ExplainFile(const Bytes& request, const Bytes& values, bool passed)
{
    constexpr const char* FAILURES[] = {
        "fails without a reason: see the board's system log",
        "cannot be written: check that its folder exists and is writable",
        "cannot be opened again: check the disk that holds it",
        "reads back with other content: check the disk that holds it, and its free space",
    };
    const std::size_t code = values[0];
    const std::string path = Text(request, 1);
    return {passed,
            path + ' ' + (passed ? "reads back as written" : FAILURES[code < std::size(FAILURES) ? code : 0]),
            {{"path", path}, {"result_code", values[0]}}};
}

Finding ExplainPing(const Bytes& request, const Bytes& /*values*/, bool passed)
{
    const std::string address = Text(request, 1);
    return {passed,
            passed ? "answer from " + address : "no answer from " + address + ": check the network cable",
            {{"address", address}, {"answered", passed}}};
}

Finding ExplainAddress(const Bytes& request, const Bytes& values, bool passed)
{
    const std::string name = Text(request, 1);
    const std::string address = Text(values, 0);
    return {passed,
            passed ? name + " has " + address
                   : name + " has no address: check the interface's name, its set-up and the network cable",
            {{"interface", name}, {"address", address}}};
}

Finding ExplainExternalDevice(const Bytes& request, const Bytes& values, bool passed)
{
    switch (ByteAt(request, 0)) {
    case DEVICE_DISK:
        return ExplainDisk(request, values, passed);
    case DEVICE_FILE:
        return ExplainFile(request, values, passed);
    case DEVICE_PING:
        return ExplainPing(request, values, passed);
    case DEVICE_ADDRESS:
        return ExplainAddress(request, values, passed);
    default:
        return ExplainPlain(request, values, passed);
    }
}

Finding ExplainDisplay(const Bytes& request, const Bytes& /*values*/, bool passed)
{
    const std::size_t action = ByteAt(request, 0);
    const int level = ByteAt(request, 1);
    const std::string actions[] = {"black", "white", "colour bars", "dimmed to " + std::to_string(level) + " of 256",
                                   "brightness " + std::to_string(level)};
    return {passed,
            !passed                       ? "the display cannot be used: check /dev/fb0 and the display's driver"
            : action < std::size(actions) ? actions[action]
                                          : "ok",
            {{"action", static_cast<int>(action)}, {"level", level}}};
}

/// Of a test that failed, the targets that were touched until then tell how far it came.
Finding ExplainTouches(const Bytes& /*request*/, const Bytes& values, bool passed)
{
    const Points points = TouchedPoints(values);
    const auto isTouched = [](const Point& point) { return point.x != 0 || point.y != 0; };
    const auto touches = points.rend() - std::find_if(points.rbegin(), points.rend(), isTouched);
    std::string text = "touched";
    for (const Point& point : points) {
        text += ' ' + std::to_string(point.x) + ',' + std::to_string(point.y);
    }
    return {passed,
            passed ? text
                   : "the touch test failed after " + std::to_string(touches) + " of " + std::to_string(points.size()) +
                         " touches: check the display and the touch panel, and see the board's system log",
            {{"touches", ToNumbers(points)}}};
}

Finding ExplainReadClock(const Bytes& values)
{
    constexpr const char* WEEKDAYS[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    const std::time_t time = CalendarTime(values.data());
    const Bytes date(values.begin(), values.begin() + CLOCK_LEN);
    if (ClockBytes(time) != date) {
        return {false, "the clock reads " + Hex(date) + ", which is no date: check the real-time clock's driver", {}};
    }
    return {true, ClockText(time) + ' ' + WEEKDAYS[date.back()], {{"clock", ClockText(time)}}};
}

/// What the clock reads must be what it was set to, or a little later.
Finding ExplainSetClock(const Bytes& request, const Bytes& values)
{
    constexpr std::time_t MOST_SECONDS = 3;
    Bytes wanted(request.begin() + 1, request.end());
    wanted.resize(CLOCK_LEN);
    const std::time_t set = CalendarTime(wanted.data());
    const std::time_t read = CalendarTime(values.data());
    Finding finding = ExplainReadClock(values);
    finding.values.emplace_back("set", ClockText(set));
    if (finding.good && (read < set || read > set + MOST_SECONDS)) {
        finding.good = false;
        finding.words = "set to " + ClockText(set) + ", reads " + ClockText(read) +
                        ": check the real-time clock, /dev/rtc0, and its battery";
    }
    return finding;
}

Finding ExplainClock(const Bytes& request, const Bytes& values, bool passed)
{
    const bool isSet = ByteAt(request, 0) == CLOCK_SET;
    if (!passed) {
        return {false,
                std::string("the real-time clock does not ") + (isSet ? "take the time" : "answer") +
                    ": check /dev/rtc0 and its battery",
                {}};
    }
    return isSet ? ExplainSetClock(request, values) : ExplainReadClock(values);
}

struct Command {
    unsigned char code;
    Seconds timeout;
    Finding (*explain)(const Bytes& request, const Bytes& values, bool passed);
    const char* task = nullptr;  // what somebody has to do
    const char* undone = "";     // why there may be no answer, if not because of the line
};

constexpr Command COMMANDS[] = {
    {UART::CMD_READ_VERSION, QUICK, ExplainVersion},
    {UART::CMD_COMM_TEST, Seconds{10}, ExplainLoopback},
    {UART::CMD_GPO_TEST, QUICK, ExplainOutputs},
    {UART::CMD_GPI_TEST, QUICK, ExplainInputs},
    {UART::CMD_PWM_OUT_TEST, QUICK, ExplainPwm},
    {UART::CMD_SPEAKER_OUT_TEST, Seconds{10}, ExplainPlain},
    {UART::CMD_EXT_DEVICE_TEST, Seconds{30}, ExplainExternalDevice},
    {UART::CMD_LCD_BLU_TEST, QUICK, ExplainDisplay},
    {UART::CMD_TOUCH_TEST, Seconds{300}, ExplainTouches,
     "Touch the five targets on the display, each in its middle, as they appear.",
     "; or nobody touched the targets, or the touch panel is silent"},
    {UART::CMD_RTC_TEST, QUICK, ExplainClock},
    {UART::CMD_RAM_TEST, Seconds{60}, ExplainPlain},
    {UART::CMD_FLASH_TEST, Seconds{60}, ExplainPlain},
};

Command Find(unsigned char code)
{
    const auto* const found = std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                                           [code](const Command& command) { return command.code == code; });
    return found != std::end(COMMANDS) ? *found : Command{code, QUICK, ExplainPlain};
}

}  // namespace

std::string CommandName(unsigned char code)
{
    const UART::UART_COMMAND_T* command = UART::FindCommand(code);
    return command != nullptr ? command->name : "0x" + Hex({code});
}

Seconds CommandTimeout(unsigned char code)
{
    return Find(code).timeout;
}

const char* CommandTask(unsigned char code)
{
    return Find(code).task;
}

std::string SilenceHint(unsigned char code)
{
    return std::string("check the serial cable and the board's test application") + Find(code).undone;
}

Finding Explain(unsigned char code, const Bytes& request, const Bytes& values, bool passed)
{
    return Find(code).explain(request, values, passed);
}

std::time_t CalendarTime(const unsigned char* clock)
{
    std::tm parts{};
    parts.tm_year = clock[CLOCK_YEAR] + 100;
    parts.tm_mon = clock[CLOCK_MONTH] - 1;
    parts.tm_mday = clock[CLOCK_DAY];
    parts.tm_hour = clock[CLOCK_HOUR];
    parts.tm_min = clock[CLOCK_MINUTE];
    parts.tm_sec = clock[CLOCK_SECOND];
    return timegm(&parts);
}

Bytes ClockBytes(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    Bytes clock;
    for (const int part : {parts.tm_year - 100, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
                           parts.tm_sec, parts.tm_wday}) {
        clock.push_back(static_cast<unsigned char>(part));
    }
    return clock;
}

std::string ClockText(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%F %T");
    return text.str();
}

}  // namespace Station
