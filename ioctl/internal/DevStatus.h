// The board's status driver: its device, its requests, and opening and closing it.
#pragma once

#include <array>
#include <cstddef>

#include "common/CFileLogger.h"

namespace IOCTL {

inline constexpr const char* DEV_STATUS = "/dev/dev_status";

// Requests of the driver: plain numbers, without direction or size. Each takes the address of a record.
inline constexpr unsigned long DEV_STATUS_GPO = 0x440;         ///< takes the digital-output pattern
inline constexpr unsigned long DEV_STATUS_GPI = 0x441;         ///< gives the digital-input state
inline constexpr unsigned long DEV_STATUS_PWM = 0x442;         ///< takes the PWM setting, bits 0 and 1 of byte 0
inline constexpr unsigned long DEV_STATUS_HW_VERSION = 0x443;  ///< gives the version, bit 0 of the bytes 0 to 2

/// A record of the driver, which defines its size: large enough, and cleared so that nothing undefined is passed.
using DevStatusRecord = std::array<unsigned char, 32>;

/// Opens the driver's device into `fd` unless that is open, which is a value above 0. 0, or -1 after logging `error`.
int OpenDevStatus(int& fd, Common::Logger::CFileLogger& logger, const char* error);

/// Closes `fd` if it is above 0 and makes it -1.
void CloseDevStatus(int& fd);

}  // namespace IOCTL
