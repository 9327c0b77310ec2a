// The test application's commands: whatever is asked of a healthy board, the reply is the one that the protocol
// promises.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <regex>

#include <unistd.h>

#include "apps/testapp/Checks.h"
#include "fuzz/Fuzz.h"
#include "sim/Board.h"
#include "sim/SimBoard.h"

namespace {

using Request = std::array<unsigned char, UART::UART_BODY_LEN>;
using TestApp::Reply;

const std::string FOLDER = "/mnt/usb/";

constexpr int WIDTH = 96;
constexpr int HEIGHT = 90;
constexpr unsigned char LAST_YEAR =
    254;                    // since 2000: in the one after it the clock may run out of what a reply can tell
constexpr int MARGINS = 5;  // that leave the five targets beside each other: the operator touches what he sees

/// The text from byte 1 on; empty when it is none.
std::string TextOf(const Request& request)
{
    const auto end = std::find(request.begin() + 1, request.end(), 0);
    const bool isText =
        end != request.end() && std::all_of(request.begin() + 1, end, [](int c) { return c >= ' ' && c <= '~'; });
    return isText ? std::string(request.begin() + 1, end) : "";
}

/// A file check writes: its path stays on the simulated disk, whatever the input says.
void KeepOnDisk(Request& request)
{
    if (request[0] == TestApp::DEVICE_FILE && request[1] != 0) {
        std::copy(FOLDER.begin(), FOLDER.end(), request.begin() + 1);
        std::replace(request.begin(), request.end(), static_cast<unsigned char>('.'), static_cast<unsigned char>('_'));
    }
}

int StatusOfDevice(const Request& request, const Reply& reply)
{
    const std::string text = TextOf(request);
    switch (request[0]) {
    case TestApp::DEVICE_DISK:
        return request[1] > 2 ? 3 : request[1] > 0;  // disk 0 is the only one
    case TestApp::DEVICE_FILE: {
        const std::size_t name = text.find_first_not_of('/', FOLDER.size());
        if (name == std::string::npos) {
            return 3;  // no text, or the folder itself
        }
        return text.find('/', name) != std::string::npos;  // there are no other folders
    }
    case TestApp::DEVICE_PING: {
        static const std::string PART = "(25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])";
        static const std::regex ADDRESS("(" + PART + "\\.){3}" + PART);
        return std::regex_match(text, ADDRESS) ? reply[0] & 1 : 3;  // passed or failed
    }
    case TestApp::DEVICE_ADDRESS:
        return text.empty() ? 3 : text != "lo" && reply[0] != 0;  // the machine's other interfaces are not known here
    default:
        return 3;
    }
}

int StatusOfDisplay(const Request& request)
{
    if (request[0] > TestApp::DISPLAY_BRIGHTNESS) {
        return 3;
    }
    return request[0] == TestApp::DISPLAY_BRIGHTNESS && request[1] > 100;
}

/// 0 for a date and time of the calendar.
int StatusOfClock(const Request& request)
{
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const auto [year, month, day, hour, minute, second] =
        std::array<int, 6>{request[1] + 2000, request[2], request[3], request[4], request[5], request[6]};
    if (request[0] != 1) {
        return request[0] == 0 ? 0 : 3;
    }
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const bool isDate = month >= 1 && month <= 12 && day >= 1 && day <= DAYS[month - 1] + (month == 2 && isLeap);
    return isDate && hour < 24 && minute < 60 && second < 60 ? 0 : 3;
}

class Board {
public:
    Board()
    {
        std::filesystem::create_directories(m_folder + "/usb");
        std::filesystem::create_directories(m_folder + "/root/mnt/usb");
        setenv("TSLIB_CONFFILE", TS_CONF, 1);
        Sim::PowerOn();
        Sim::UseFolder(m_folder);
        Sim::SetScreenSize(WIDTH, HEIGHT);
        Sim::UseOperator();
    }

    void Ask(unsigned char code, Request request)
    {
        if (code == UART::CMD_EXT_DEVICE_TEST) {
            KeepOnDisk(request);
        } else if (code == UART::CMD_TOUCH_TEST) {
            request[0] %= MARGINS;
        } else if (code == UART::CMD_RTC_TEST && request[0] == TestApp::CLOCK_SET) {
            request[1] = std::min(request[1], LAST_YEAR);
        }
        const bool hasBody = code != UART::CMD_READ_VERSION && code != UART::CMD_CONFIRM_TEST_MODE;
        const Reply reply = m_checks.CarryOut(code, hasBody ? request.data() : nullptr);
        Fuzz::Expect(reply[0] == ExpectedStatus(code, request, reply),
                     "another status of command " + std::to_string(code) + " than " + std::to_string(reply[0]));
        Fuzz::Expect(
            std::all_of(reply.begin() + Used(code, request, reply), reply.end(), [](int byte) { return byte == 0; }),
            "no other values in the reply to command " + std::to_string(code));
        ExpectEffect(code, request, reply);
        Fuzz::Expect(Sim::Mounts().empty(), "no disk left mounted");
        Sim::TakeLog();
    }

private:
    static int ExpectedStatus(unsigned char code, const Request& request, const Reply& reply)
    {
        switch (code) {
        case UART::CMD_COMM_TEST:
            return reply[0] == 0 ? 0 : 1;  // without pauses the plug may be too slow
        case UART::CMD_EXT_DEVICE_TEST:
            return StatusOfDevice(request, reply);
        case UART::CMD_LCD_BLU_TEST:
            return StatusOfDisplay(request);
        case UART::CMD_TOUCH_TEST:
            return 0;
        case UART::CMD_RTC_TEST:
            return StatusOfClock(request);
        case UART::CMD_READ_VERSION:
        case UART::CMD_GPO_TEST:
        case UART::CMD_GPI_TEST:
        case UART::CMD_PWM_OUT_TEST:
        case UART::CMD_CONFIRM_TEST_MODE:
            return 0;
        default:
            return 2;
        }
    }

    /// Bytes of the reply that may hold something.
    static int Used(unsigned char code, const Request& request, const Reply& reply)
    {
        switch (code) {
        case UART::CMD_READ_VERSION:
            return 7;
        case UART::CMD_COMM_TEST:
            return 2;
        case UART::CMD_GPI_TEST:
            return 3;
        case UART::CMD_TOUCH_TEST:
            return 21;
        case UART::CMD_RTC_TEST:
            return reply[0] == 0 ? 8 : 1;
        case UART::CMD_EXT_DEVICE_TEST:
            return request[0] == TestApp::DEVICE_FILE || request[0] == TestApp::DEVICE_ADDRESS ? 17 : 1;
        default:
            return 1;
        }
    }

    /// What the board shows afterwards.
    void ExpectEffect(unsigned char code, const Request& request, const Reply& reply)
    {
        switch (code) {
        case UART::CMD_GPO_TEST:
            m_outputs = {request[0], request[1]};
            break;
        case UART::CMD_GPI_TEST:
            Fuzz::Expect(reply[1] == m_outputs[0] && reply[2] == m_outputs[1], "inputs as the outputs");
            break;
        case UART::CMD_PWM_OUT_TEST:
            Fuzz::Expect(Sim::Pwm() == (request[0] & 3), "the PWM setting");
            break;
        case UART::CMD_RTC_TEST:
            if (request[0] == 1 && reply[0] == 0) {
                ExpectClock(request, reply);
            }
            break;
        case UART::CMD_LCD_BLU_TEST:
            if (request[0] <= TestApp::DISPLAY_WHITE) {
                const std::vector<std::uint32_t> screen = Sim::Screen();
                const std::uint32_t colour = request[0] == 0 ? 0 : 0xFFFFFFFF;
                Fuzz::Expect(std::all_of(screen.begin(), screen.end(), [&](auto pixel) { return pixel == colour; }),
                             "one colour");
            } else if (request[0] == TestApp::DISPLAY_BRIGHTNESS && reply[0] == 0) {
                Fuzz::Expect(Sim::Brightness() == request[1], "the brightness");
            }
            break;
        default:
            break;
        }
    }

    /// The clock runs on from what it was set to.
    static void ExpectClock(const Request& request, const Reply& reply)
    {
        const auto seconds = [](const unsigned char* values) {
            tm time = {};
            time.tm_year = values[0] + 100;
            time.tm_mon = values[1] - 1;
            time.tm_mday = values[2];
            time.tm_hour = values[3];
            time.tm_min = values[4];
            time.tm_sec = values[5];
            return timegm(&time);
        };
        const std::time_t shown = seconds(&reply[1]);
        const std::time_t late = shown - seconds(&request[1]);
        Fuzz::Expect(late >= 0 && late < 600, "the time that it was set to");
        Fuzz::Expect(reply[7] == (shown / 86400 + 4) % 7, "its weekday");  // 1970 began on a Thursday
    }

    std::string m_folder = std::filesystem::temp_directory_path() / ("testmode-fuzz-" + std::to_string(getpid()));
    TestApp::Checks m_checks{IMAGES};
    std::array<unsigned char, 2> m_outputs = {};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Board& board = *new Board;
    board.Ask(UART::CMD_GPO_TEST, {});  // the only state that a reply tells
    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() > 0) {
        const auto code =
            input.PickValueInArray<unsigned char>({1, 2, 3, 4, 5, 6, 7, 8, 8, 8, 9, 9, 10, 11, 11, 12, 13, 255, 99});
        Request request = {};
        const std::string body =
            input.ConsumeBytesAsString(input.ConsumeIntegralInRange<std::size_t>(0, request.size()));
        std::copy(body.begin(), body.end(), request.begin());
        board.Ask(code, request);
    }
    return 0;
}
