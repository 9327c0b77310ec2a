// The simulated board as a whole: its faults, its device nodes, and switching it on and off.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <set>
#include <stdexcept>

#include <fcntl.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"

namespace Sim {

namespace {

struct State {
    std::mutex mutex;
    bool isOn = false;
    std::set<std::string> faults;
    std::map<std::string, std::string> redirections;
    std::map<int, Device*> open;
};

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

/// A node that leads nowhere.
class MissingDevice : public Device {
public:
    int Open(int /*flags*/) override { return -ENOENT; }
    int Request(unsigned long /*request*/, void* /*argument*/) override { return -ENODEV; }
};

/// The node of that path: a device, or null for a path that is no node of the board's.
Device* Node(const std::string& path)
{
    static MissingDevice missing;
    return path == "/dev/dev_status"                       ? &StatusDriver()
           : path == "/dev/rtc0"                           ? &RealTimeClock()
           : path == "/dev/fb0"                            ? &Display()
           : path == TouchPanelPath()                      ? &TouchPanel()
           : path == STATION_PORT || path == LOOPBACK_PORT ? &missing
                                                           : nullptr;
}

/// The device that the descriptor belongs to, or null.
Device* Opened(int fd)
{
    const std::lock_guard lock(TheState().mutex);
    const auto found = TheState().open.find(fd);
    return found != TheState().open.end() ? found->second : nullptr;
}

}  // namespace

const std::vector<BoardFault>& BoardFaults()
{
    static const std::vector<BoardFault> faults = {
        {"status-missing",
         "the status driver's device does not exist",
         {"CMD_READ_VERSION", "CMD_GPO_TEST", "CMD_GPI_TEST", "CMD_GPO_TEST/inverted", "CMD_GPI_TEST/inverted",
          "CMD_PWM_OUT_TEST"}},
        {"status-refuses",
         "the status driver refuses every request: the inputs read 0, no other check can tell",
         {"CMD_GPI_TEST", "CMD_GPI_TEST/inverted"}},
        {"inputs-stuck", "all inputs read 0", {"CMD_GPI_TEST", "CMD_GPI_TEST/inverted"}},
        {"input-open", "input 0 is not connected and reads 0", {"CMD_GPI_TEST"}},
        {"pwm-refused", "the status driver refuses the PWM setting: no check can tell", {}},
        {"rtc-missing", "the real-time clock's device does not exist", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
        {"rtc-refuses", "the real-time clock refuses every request", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
        {"rtc-forgets",
         "the real-time clock does not keep what it is set to",
         {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
        {"rtc-stopped", "the real-time clock keeps what it is set to, but stands still", {"CMD_RTC_TEST/read"}},
        {"rtc-garbled", "the real-time clock reads as a date that is none", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
        {"clock-refused", "the system clock cannot be set: no check can tell", {}},
        {"disk-missing", "no USB disk is plugged in", {"CMD_EXT_DEVICE_TEST/disk"}},
        {"disk-unformatted", "the USB disk has no file system", {"CMD_EXT_DEVICE_TEST/disk"}},
        {"disk-partitioned", "the USB disk has a partition table: every check passes all the same", {}},
        {"disk-full", "files below /mnt/usb/ take no data", {"CMD_EXT_DEVICE_TEST/file"}},
        {"disk-read-only", "no file can be created below /mnt/usb/", {"CMD_EXT_DEVICE_TEST/file"}},
        {"disk-corrupt", "files below /mnt/usb/ read back with a wrong bit", {"CMD_EXT_DEVICE_TEST/file"}},
        {"network-down", "there is no route to any host", {"CMD_EXT_DEVICE_TEST/ping"}},
        {"ping-silent", "no host answers a ping", {"CMD_EXT_DEVICE_TEST/ping"}},
        {"ping-stranger", "another host than the one asked answers a ping", {"CMD_EXT_DEVICE_TEST/ping"}},
        {"ping-refused", "the program may not open a raw socket", {"CMD_EXT_DEVICE_TEST/ping"}},
        {"interface-missing", "the network interface does not exist", {"CMD_EXT_DEVICE_TEST/address"}},
        {"serial-missing", "the second serial port does not exist", {"CMD_COMM_TEST"}},
        {"loopback-unplugged", "nothing comes back on the second serial port", {"CMD_COMM_TEST"}},
        {"loopback-cut", "only the first 4 bytes come back on the second serial port", {"CMD_COMM_TEST"}},
        {"loopback-late", "what comes back on the second serial port is 1.5 seconds late", {"CMD_COMM_TEST"}},
        {"loopback-garbled", "what comes back on the second serial port has wrong bits", {"CMD_COMM_TEST"}},
        {"display-missing",
         "the display's device does not exist",
         {"CMD_LCD_BLU_TEST/black", "CMD_LCD_BLU_TEST/white", "CMD_LCD_BLU_TEST/bars", "CMD_LCD_BLU_TEST/dim",
          "CMD_LCD_BLU_TEST/brightness", "CMD_TOUCH_TEST"}},
        {"display-refuses",
         "the display refuses every area",
         {"CMD_LCD_BLU_TEST/black", "CMD_LCD_BLU_TEST/white", "CMD_LCD_BLU_TEST/bars", "CMD_LCD_BLU_TEST/dim",
          "CMD_LCD_BLU_TEST/brightness", "CMD_TOUCH_TEST"}},
        {"touch-missing", "the touch panel's device does not exist", {"CMD_TOUCH_TEST"}},
        {"touch-shifted", "the touch panel reads positions 40 pixels too far right", {"CMD_TOUCH_TEST"}},
        {"touch-mirrored", "the touch panel reads left as right", {"CMD_TOUCH_TEST"}},
        {"touch-unplugged", "the touch panel cannot be read after two touches", {"CMD_TOUCH_TEST"}},
        {"touch-silent", "the touch panel notices no touch after the first two", {"CMD_TOUCH_TEST"}},
    };
    return faults;
}

void Break(const std::string& fault)
{
    const auto& faults = BoardFaults();
    if (std::none_of(faults.begin(), faults.end(), [&](const BoardFault& known) { return fault == known.name; })) {
        throw std::invalid_argument("there is no fault " + fault);
    }
    const std::lock_guard lock(TheState().mutex);
    TheState().faults.insert(fault);
}

bool HasFault(const char* fault)
{
    const std::lock_guard lock(TheState().mutex);
    return TheState().faults.count(fault) != 0;
}

int Fail(int error)
{
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}

void PowerOn()
{
    PowerOff();
    {
        const std::lock_guard lock(TheState().mutex);
        TheState().isOn = true;
    }
    PlugIn(0, Disk::WHOLE);
    SetScreenSize(800, 480);
    PlugLoopback();
}

void PowerOff()
{
    UnplugLoopback();
    ResetStatusDriver();
    ResetRealTimeClock();
    ResetDisplay();
    ResetTouchPanel();
    ResetDisks();
    ResetNetwork();
    const std::lock_guard lock(TheState().mutex);
    TheState().isOn = false;
    TheState().faults.clear();
    TheState().redirections.clear();
}

void Redirect(const std::string& path, const std::string& to)
{
    const std::lock_guard lock(TheState().mutex);
    TheState().redirections[path] = to;
}

std::string Redirected(const std::string& path)
{
    if (path == LOOPBACK_PORT && HasFault("serial-missing")) {
        return path;
    }
    const std::lock_guard lock(TheState().mutex);
    for (const auto& [from, to] : TheState().redirections) {
        if (path == from || (from.back() == '/' && path.compare(0, from.size(), from) == 0)) {
            return to + path.substr(from.size());
        }
    }
    return path;
}

bool IsNode(const std::string& path)
{
    return Node(path) != nullptr;
}

std::optional<int> OpenDevice(const char* path, int flags)
{
    Device* const device = Node(path);
    if (device == nullptr) {
        return std::nullopt;
    }
    const int fd = IsOn() ? device->Open(flags) : -ENOENT;
    if (fd < 0) {
        return Fail(-fd);
    }
    const std::lock_guard lock(TheState().mutex);
    TheState().open[fd] = device;
    return fd;
}

int OpenBehind(const std::string& path, int flags)
{
    static auto* const next = Next<int(const char*, int, ...)>("open");
    const int fd = next(path.c_str(), flags & (O_ACCMODE | O_CLOEXEC | O_NONBLOCK));
    return fd < 0 ? -errno : fd;
}

std::optional<int> RequestDevice(int fd, unsigned long request, void* argument)
{
    Device* const device = Opened(fd);
    if (device == nullptr) {
        return std::nullopt;
    }
    const int result = device->Request(request, argument);
    return result < 0 ? Fail(-result) : result;
}

void ForgetDevice(int fd)
{
    if (Device* const device = Opened(fd)) {
        device->Close(fd);
        const std::lock_guard lock(TheState().mutex);
        TheState().open.erase(fd);
    }
}

bool IsOn()
{
    const std::lock_guard lock(TheState().mutex);
    return TheState().isOn;
}

}  // namespace Sim
