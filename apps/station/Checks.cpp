// The checks: one entry per command says what is sent, how long it may take and what the reply means.
#include "apps/station/Checks.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <sstream>

namespace Station {

namespace {

// Data byte 0 of a reply.
constexpr int STATUS_PASS = 0;
constexpr int STATUS_FAIL = 1;
constexpr int STATUS_NOT_SUPPORTED = 2;
constexpr int STATUS_BAD_REQUEST = 3;

constexpr Seconds QUICK{5};

// What byte 0 of an external device request selects.
constexpr unsigned char EXT_FILE = 1;
constexpr unsigned char EXT_INTERFACE = 3;

std::string DescribeVersion(const Bytes& /*request*/, const Bytes& values)
{
    std::ostringstream text;
    text << "hardware " << +values[0] << ' ' << +values[1] << ' ' << +values[2];
    text << ", library " << +values[3] << '.' << +values[4] << '.' << +values[5];
    return text.str();
}

std::string DescribeResultCode(const Bytes& /*request*/, const Bytes& values)
{
    return "result code " + std::to_string(values[0]);
}

std::string DescribeInputs(const Bytes& /*request*/, const Bytes& values)
{
    return "inputs " + Hex({values[0], values[1]});
}

/// The text up to its zero byte; whatever is not printable is replaced.
std::string Text(const Bytes& values)
{
    std::string text(values.begin(), std::find(values.begin(), values.end(), 0));
    const auto unprintable = [](char letter) { return letter < ' ' || letter > '~'; };
    std::replace_if(text.begin(), text.end(), unprintable, '?');
    return text;
}

std::string DescribeExternalDevice(const Bytes& request, const Bytes& values)
{
    const unsigned char device = request.empty() ? 0 : request[0];
    switch (device) {
    case EXT_FILE:
        return DescribeResultCode(request, values);
    case EXT_INTERFACE:
        return "address " + Text(values);
    default:
        return {};
    }
}

std::string DescribeTouches(const Bytes& /*request*/, const Bytes& values)
{
    constexpr std::size_t TOUCHES = 5;
    const auto coordinate = [&values](std::size_t offset) {
        return static_cast<std::int16_t>(values[offset] << 8 | values[offset + 1]);
    };
    std::string text = "touched";
    for (std::size_t touch = 0; touch < TOUCHES; ++touch) {
        text += ' ' + std::to_string(coordinate(4 * touch)) + ',' + std::to_string(coordinate(4 * touch + 2));
    }
    return text;
}

std::string TwoDigits(int number)
{
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string DescribeClock(const Bytes& /*request*/, const Bytes& values)
{
    constexpr const char* WEEKDAYS[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    const std::size_t weekday = values[6];
    return std::to_string(2000 + values[0]) + '-' + TwoDigits(values[1]) + '-' + TwoDigits(values[2]) + ' ' +
           TwoDigits(values[3]) + ':' + TwoDigits(values[4]) + ':' + TwoDigits(values[5]) + ' ' +
           (weekday < std::size(WEEKDAYS) ? WEEKDAYS[weekday] : "weekday " + std::to_string(weekday));
}

Bytes Characters(const std::string& text)
{
    return {text.begin(), text.end()};
}

/// Values of a failed check are worth telling only if the board filled any in.
std::string FailureMessage(const std::string& words, const Bytes& values)
{
    const bool filled = std::any_of(values.begin(), values.end(), [](unsigned char value) { return value != 0; });
    return "the check failed on the board" + (filled && !words.empty() ? ": " + words : "");
}

}  // namespace

const std::vector<Check>& Checks()
{
    using namespace UART;
    static const std::vector<Check> checks = {
        {CMD_READ_VERSION, "Read the hardware and library versions", {}, QUICK, DescribeVersion},
        {CMD_COMM_TEST, "Send a text through the loopback plug", Characters("0123456789"), Seconds{10},
         DescribeResultCode},
        {CMD_GPO_TEST, "Set the digital outputs to 3F 00", {0x3F, 0x00}, QUICK, nullptr},
        {CMD_GPI_TEST, "Read the digital inputs", {}, QUICK, DescribeInputs},
        {CMD_PWM_OUT_TEST, "Set the PWM outputs to 3", {0x03}, QUICK, nullptr},
        {CMD_ADC_IN_TEST, "Check the analogue inputs", {}, QUICK, nullptr},
        {CMD_SPEAKER_OUT_TEST, "Check the loudspeaker", {}, Seconds{10}, nullptr},
        {CMD_EXT_DEVICE_TEST, "Mount the first USB disk", {0, 0}, Seconds{30}, DescribeExternalDevice},
        {CMD_LCD_BLU_TEST, "Show colour bars", {2}, QUICK, nullptr},
        {CMD_RTC_TEST, "Read the clock", {0}, QUICK, DescribeClock},
        {CMD_RAM_TEST, "Check the RAM", {}, Seconds{60}, nullptr},
        {CMD_FLASH_TEST, "Check the flash memory", {}, Seconds{60}, nullptr},
        {CMD_CONFIRM_TEST_MODE, "Ask whether the board is in test mode", {}, QUICK, nullptr},
        {CMD_TOUCH_TEST, "Have the operator touch five targets", {30}, Seconds{300}, DescribeTouches},
    };
    return checks;
}

Check CheckFor(unsigned char code)
{
    const std::vector<Check>& checks = Checks();
    const auto found =
        std::find_if(checks.begin(), checks.end(), [code](const Check& check) { return check.code == code; });
    return found != checks.end() ? *found : Check{code, "", {}, QUICK, nullptr};
}

std::string CommandName(unsigned char code)
{
    const UART::UART_COMMAND_T* command = UART::FindCommand(code);
    return command != nullptr ? command->name : "0x" + Hex({code});
}

Verdict Judge(const Check& check, const Bytes& request, const Bytes& reply, unsigned char boardType)
{
    const Bytes values(reply.begin() + UART::UART_HDR_LEN + 1, reply.end() - UART::UART_TAIL_LEN);
    const int status = reply[UART::UART_HDR_LEN];
    if (reply[1] != boardType) {
        return {Result::Fail,
                "the reply's board type is " + std::to_string(reply[1]) + ", expected " + std::to_string(boardType),
                status};
    }
    const std::string words = check.describe != nullptr ? check.describe(request, values) : "";
    switch (status) {
    case STATUS_PASS:
        return {Result::Pass, words.empty() ? "ok" : words, status};
    case STATUS_FAIL:
        return {Result::Fail, FailureMessage(words, values), status};
    case STATUS_NOT_SUPPORTED:
        return {Result::Skip, "not supported by the board", status};
    case STATUS_BAD_REQUEST:
        return {Result::Fail, "the board calls the request bad", status};
    default:
        return {Result::Fail, "the reply has the unknown status " + std::to_string(status), status};
    }
}

}  // namespace Station
