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

/// The one that owns the path, or null. The path is one that Redirected returned.
Device* FindDevice(const std::string& path);
/// The one that the descriptor belongs to, or null.
Device* FindDevice(int fd);
/// Opens a path of the device, and notes whose the descriptor is. -1 and `errno` when that fails.
int OpenDevice(Device& device, const std::string& path, int flags, mode_t mode);
/// Notes whose a descriptor is: the descriptor, or -1 and `errno` when it is too large.
int Keep(int fd, Device& device);
/// The descriptor is about to be closed.
void Forget(int fd);

/// Where a path leads: another one when it has been redirected.
std::string Redirected(const std::string& path);

// Calls that concern neither a path nor a descriptor of a device: -1 and `errno` when they fail. A result of nothing
// leaves the call to the PC.

int Mount(const std::string& source, const std::string& target, const std::string& type);
int Unmount(const std::string& target);
/// Sets the system clock to a time since 1970.
int SetClock(std::chrono::microseconds time);
/// Settings have been applied to a terminal, whichever it is.
void LineApplied(int fd, const termios& line);

std::optional<int> OpenSocket(int domain, int type, int protocol);
/// Of a socket that OpenSocket simulates; a result of nothing for any other.
std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout);
std::optional<long> SendDatagram(int fd, const void* message, std::size_t size, const sockaddr_in& destination);
std::optional<long> ReceiveDatagram(int fd, void* buffer, std::size_t size, sockaddr_in& source);
/// What becomes of a request to a descriptor of the PC's that had this result.
int FinishRequest(unsigned long request, void* argument, int result);

void OpenLog(const char* identity, int options, int facility);
void WriteLog(int priority, std::string text);
void CloseLog();

// Setting the board up for a program of the launcher's.

/// From now on the files below /mnt/usb/ are in this folder: in usb/ while a disk is mounted there, else in
/// root/mnt/usb/.
void UseFolder(const std::string& folder);
/// From now on the line settings that are applied to "/dev/ttyS0" are in a file, such as "115200 8N1" or
/// "9600 7E2 rts/cts".
void LineToFile(const std::string& path);
/// What instruments at the board would measure is from now on in files of a folder.
void MetersTo(const std::string& folder);
/// An instrument of that name now measures this; nothing happens while there is no folder.
void Meter(const std::string& name, const std::string& reading);
/// From now on the pixels are in a file that an earlier process made, 4 bytes for each.
void UseScreenFile(const std::string& path, int width, int height);

}  // namespace Sim
