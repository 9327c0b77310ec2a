// What the test application does for each command of the station.
#include "apps/testapp/Checks.h"

#include <algorithm>
#include <array>
#include <climits>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

#include <arpa/inet.h>

#include "apps/testapp/DisplayChecks.h"
#include "apps/testapp/FileCheck.h"
#include "ioctl/CFileTest.h"
#include "ioctl/CGPIOTest.h"
#include "ioctl/CNetTest.h"
#include "ioctl/CPWMOutTest.h"
#include "ioctl/CSysTime.h"
#include "ioctl/CUARTTest.h"
#include "ioctl/CVersion.h"

namespace TestApp {

namespace {

/// The 26 data bytes of a request.
using Request = const unsigned char*;

/// A buffer for the status driver, which defines how much of it is used.
using DriverRecord = std::array<unsigned char, 32>;

/// The text that follows byte 0. std::nullopt when it is empty or not printable, or was cut off and so does not end
/// with a zero byte.
std::optional<std::string> Text(Request request)
{
    const Request start = request + 1;
    const Request bound = request + UART::UART_BODY_LEN;
    const Request end = std::find(start, bound, 0);
    const bool isPrintable =
        std::all_of(start, end, [](unsigned char letter) { return letter >= ' ' && letter <= '~'; });
    if (start == end || end == bound || !isPrintable) {
        return std::nullopt;
    }
    return std::string(start, end);
}

Reply ReadVersion(Request /*request*/)
{
    Reply reply = StatusReply(STATUS_PASS);
    if (IOCTL::CVersion().GetHWVersion(&reply[1]) != 0) {
        return StatusReply(STATUS_FAIL);
    }
    reply[4] = TESTMODE_VERSION_MAJOR;
    reply[5] = TESTMODE_VERSION_MINOR;
    reply[6] = TESTMODE_VERSION_PATCH;
    return reply;
}

Reply LoopTextBack(Request request)
{
    const std::string text(request, std::find(request, request + UART::UART_BODY_LEN, 0));
    return ResultCodeReply(IOCTL::CUARTTest().TestUART("/dev/ttyS1", 115200, 8, 1, 0, false, text.c_str()));
}

Reply DriveOutputs(Request request)
{
    DriverRecord record = {};
    std::copy_n(request, UART::UART_BODY_LEN, record.begin());
    return StatusReply(StatusOf(IOCTL::CGPIOTest().CheckGPO(record.data())));
}

Reply ReadInputs(Request /*request*/)
{
    DriverRecord record = {};
    if (IOCTL::CGPIOTest().CheckGPI(record.data()) != 0) {
        return StatusReply(STATUS_FAIL);
    }
    return {STATUS_PASS, record[0], record[1]};
}

Reply DrivePwm(Request request)
{
    return StatusReply(StatusOf(IOCTL::CPWMOutTest().CheckPWM(request[0])));
}

Reply MountDisk(Request request)
{
    const int index = request[1];
    return StatusReply(index < DISKS ? StatusOf(IOCTL::CFileTest().MountUSB(index)) : STATUS_BAD_REQUEST);
}

Reply VerifyFile(Request request)
{
    const auto path = Text(request);
    return path ? CheckFile(*path) : StatusReply(STATUS_BAD_REQUEST);
}

Reply Ping(Request request)
{
    const auto address = Text(request);
    in_addr parsed = {};
    if (!address || inet_pton(AF_INET, address->c_str(), &parsed) != 1) {
        return StatusReply(STATUS_BAD_REQUEST);
    }
    return StatusReply(StatusOf(IOCTL::CNetTest().PingTest(address->c_str())));
}

Reply ReadAddress(Request request)
{
    const auto name = Text(request);
    if (!name) {
        return StatusReply(STATUS_BAD_REQUEST);
    }
    const char* const address = IOCTL::CNetTest().GetIP(name->c_str());
    if (address == nullptr) {
        return StatusReply(STATUS_FAIL);
    }
    Reply reply = StatusReply(STATUS_PASS);
    const std::string text = address;
    std::copy(text.begin(), text.end(), reply.begin() + 1);
    return reply;
}

Reply CheckExternalDevice(Request request)
{
    switch (request[0]) {
    case DEVICE_DISK:
        return MountDisk(request);
    case DEVICE_FILE:
        return VerifyFile(request);
    case DEVICE_PING:
        return Ping(request);
    case DEVICE_ADDRESS:
        return ReadAddress(request);
    default:
        return StatusReply(STATUS_BAD_REQUEST);
    }
}

Reply ReadClock()
{
    tm time = {};
    const bool isRead = IOCTL::CSysTime().GetSysTime(&time) == 0;
    if (!isRead || time.tm_year < 0 || time.tm_year > UCHAR_MAX) {
        return StatusReply(STATUS_FAIL);
    }
    Reply reply = StatusReply(STATUS_PASS);
    const std::pair<ClockField, int> values[] = {{CLOCK_YEAR, time.tm_year},   {CLOCK_MONTH, time.tm_mon + 1},
                                                 {CLOCK_DAY, time.tm_mday},    {CLOCK_HOUR, time.tm_hour},
                                                 {CLOCK_MINUTE, time.tm_min},  {CLOCK_SECOND, time.tm_sec},
                                                 {CLOCK_WEEKDAY, time.tm_wday}};
    for (const auto& [field, value] : values) {
        reply[1 + field] = static_cast<unsigned char>(value);
    }
    return reply;
}

/// True when the six values, from year since 2000 to second, are a valid date and time.
bool IsTime(const unsigned char* values)
{
    tm time = {};
    time.tm_year = values[CLOCK_YEAR] + 100;
    time.tm_mon = values[CLOCK_MONTH] - 1;
    time.tm_mday = values[CLOCK_DAY];
    time.tm_hour = values[CLOCK_HOUR];
    time.tm_min = values[CLOCK_MINUTE];
    time.tm_sec = values[CLOCK_SECOND];
    const tm asked = time;
    return timegm(&time) != -1 && time.tm_mon == asked.tm_mon && time.tm_mday == asked.tm_mday &&
           time.tm_hour == asked.tm_hour && time.tm_min == asked.tm_min && time.tm_sec == asked.tm_sec;
}

Reply SetClock(const unsigned char* values)
{
    if (!IsTime(values)) {
        return StatusReply(STATUS_BAD_REQUEST);
    }
    const int result = IOCTL::CSysTime().SetSysTime(values[CLOCK_YEAR], values[CLOCK_MONTH], values[CLOCK_DAY],
                                                    values[CLOCK_HOUR], values[CLOCK_MINUTE], values[CLOCK_SECOND]);
    return result == 0 ? ReadClock() : StatusReply(STATUS_FAIL);
}

Reply CheckClock(Request request)
{
    switch (request[0]) {
    case CLOCK_READ:
        return ReadClock();
    case CLOCK_SET:
        return SetClock(request + 1);
    default:
        return StatusReply(STATUS_BAD_REQUEST);
    }
}

Reply ConfirmTestMode(Request /*request*/)
{
    return StatusReply(STATUS_PASS);
}

}  // namespace

Checks::Checks(const std::string& images)
    : m_checks{{UART::CMD_READ_VERSION, ReadVersion},
               {UART::CMD_COMM_TEST, LoopTextBack},
               {UART::CMD_GPO_TEST, DriveOutputs},
               {UART::CMD_GPI_TEST, ReadInputs},
               {UART::CMD_PWM_OUT_TEST, DrivePwm},
               {UART::CMD_EXT_DEVICE_TEST, CheckExternalDevice},
               {UART::CMD_LCD_BLU_TEST, CheckDisplay},
               {UART::CMD_TOUCH_TEST, [images](Request request) { return CheckTouchPanel(request[0], images); }},
               {UART::CMD_RTC_TEST, CheckClock},
               {UART::CMD_CONFIRM_TEST_MODE, ConfirmTestMode}}
{
}

Reply Checks::CarryOut(unsigned char code, const unsigned char* request) const
{
    const auto check = m_checks.find(code);
    return check == m_checks.end() ? StatusReply(STATUS_NOT_SUPPORTED) : check->second(request);
}

}  // namespace TestApp
