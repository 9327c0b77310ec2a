// The devices of the simulated board, as the libc entry points see them. Results are those of the system's calls, with
// `errno`; nothing stands for what the simulated board does not own.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>

#include "sim/SimBoard.h"

namespace Sim {

/// A device node.
class Device {
public:
    Device() = default;
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// A descriptor of the device, or the negative error number why it cannot be opened. `flags` are those of `open`.
    virtual int Open(int flags) = 0;
    /// The request's result, or the negative error number why it is refused.
    virtual int Request(unsigned long request, void* argument) = 0;
    /// The program is about to close a descriptor of the device.
    virtual void Close(int /*fd*/) {}
};

/// Opens what stands behind a device: a descriptor, or a negative error number. Files are neither made nor emptied.
int OpenBehind(const std::string& path, int flags);

/// True when that fault of the board has been made to happen.
bool HasFault(const char* fault);

/// Fails a call with that error number, or succeeds with 0.
int Fail(int error);

/// True from PowerOn to PowerOff.
bool IsOn();
/// Takes the board's devices away and makes them healthy.
void PowerOff();

/// Where a path leads: another one when it has been redirected.
std::string Redirected(const std::string& path);

// Device nodes of the board: they exist only while it is on, and never reach the PC's own.
bool IsNode(const std::string& path);
std::optional<int> OpenDevice(const char* path, int flags);
std::optional<int> RequestDevice(int fd, unsigned long request, void* argument);
void ForgetDevice(int fd);

// Serial ports.
inline constexpr const char* STATION_PORT = "/dev/ttyS0";
inline constexpr const char* LOOPBACK_PORT = "/dev/ttyS1";
std::optional<int> OpenPort(const std::string& path, int flags);
/// From now on the line settings that are applied to "/dev/ttyS0" are in a file, see TellLine.
void LineToFile(const std::string& path);
/// Settings have been applied to a terminal: where it is the station's port, the file that LineToFile named now holds
/// them, as in "115200 8N1" or "9600 7E2 rts/cts".
void TellLine(int fd, const termios& line);

// The parts of the board, each in a source of its own, and as after power-on.
Device& StatusDriver();
Device& RealTimeClock();
Device& Display();
Device& TouchPanel();
void ResetStatusDriver();
void ResetRealTimeClock();
void ResetDisplay();
void ResetTouchPanel();
void ResetDisks();
void ResetNetwork();
void PlugLoopback();
void UnplugLoopback();

/// From now on the pixels are in a file that an earlier process made, 4 bytes for each.
void UseScreenFile(const std::string& path, int width, int height);

/// What is on the screen.
struct Picture {
    int width = 0;  ///< in pixels, as the height
    int height = 0;
    std::vector<std::uint32_t> pixels;
};
Picture LookAtScreen();
/// The same without pixels.
Picture ScreenSize();

/// The path of the touch panel's node.
std::string TouchPanelPath();
/// Before a read: where the descriptor is the touch panel's, lets the operator look and touch until there is something
/// to read. 0, or -1 when the read fails.
int AwaitTouch(int fd);

/// Sets the system clock to a time since 1970.
int SetSystemClock(std::chrono::microseconds time);
int MountDisk(const std::string& source, const std::string& target, const std::string& type);
int Unmount(const std::string& target);

int OpenRawSocket();
std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout);
std::optional<long> SendDatagram(int fd, const void* message, std::size_t size, const sockaddr_in& destination);
std::optional<long> ReceiveDatagram(int fd, void* buffer, std::size_t size, sockaddr_in& source);
int RequestAddress(unsigned long request, void* argument, int realResult);
void ForgetSocket(int fd);

}  // namespace Sim
