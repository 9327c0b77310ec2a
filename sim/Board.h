// The simulated board as a whole: its devices, and what the system does for every program.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <netinet/in.h>
#include <termios.h>

#include "sim/Device.h"

namespace Sim {

/// True from PowerOn to PowerOff.
bool IsOn();
/// Takes the board's devices away and makes them healthy.
void PowerOff();

// Finding a device.

/// The device that owns the path, or null. `path` is a result of Redirected.
Device* FindDevice(const std::string& path);
/// The device that the descriptor belongs to, or null.
Device* FindDevice(int fd);
/// Opens a path of the device and records the device as the descriptor's owner. Returns the descriptor, or -1 and
/// `errno`.
int OpenDevice(Device& device, const std::string& path, int flags, mode_t mode);
/// Records the device as the descriptor's owner. Returns the descriptor; one that is too large is closed, for -1 and
/// `errno`.
int Keep(int fd, Device& device);
/// Called before the descriptor is closed.
void Forget(int fd);

/// The path to use in place of `path`: the same, unless it has been redirected.
std::string Redirected(const std::string& path);

// Calls that concern neither a path nor a descriptor of a device. They return -1 and `errno` when they fail, and
// std::nullopt when the PC has to carry the call out.

int Mount(const std::string& source, const std::string& target, const std::string& type);
int Unmount(const std::string& target);
/// Sets the system clock to a time since 1970.
int SetClock(std::chrono::microseconds time);
/// Called after line settings have been applied to any terminal.
void LineApplied(int fd, const termios& line);

std::optional<int> OpenSocket(int domain, int type, int protocol);
/// For a socket that OpenSocket simulates; std::nullopt for any other.
std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout);
std::optional<long> SendDatagram(int fd, const void* message, std::size_t size, const sockaddr_in& destination);
std::optional<long> ReceiveDatagram(int fd, void* buffer, std::size_t size, sockaddr_in& source);
/// The result that the program sees of an `ioctl` request which the PC answered with `result`.
int FinishRequest(unsigned long request, void* argument, int result);

void OpenLog(const char* identity, int options, int facility);
void WriteLog(int priority, std::string text);
void CloseLog();

// Setting the board up for a program that the launcher runs.

/// From now on the files below /mnt/usb/ are in this folder: in usb/ while a disk is mounted there, else in
/// root/mnt/usb/.
void UseFolder(const std::string& folder);
/// From now on the line settings applied to "/dev/ttyS0" are written to a file, as in "115200 8N1" or "9600 7E2
/// rts/cts".
void LineToFile(const std::string& path);
/// From now on files of this folder hold what instruments at the board would measure.
void MetersTo(const std::string& folder);
/// Sets the reading of the instrument `name`; does nothing while there is no folder.
void Meter(const std::string& name, const std::string& reading);
/// From now on the screen's pixels are in a file that an earlier process made, 4 bytes each.
void UseScreenFile(const std::string& path, int width, int height);

}  // namespace Sim
