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

/// A buffer large enough for each of the driver's records. Cleared before use, so that the driver never sees undefined
/// bytes.
using DevStatusRecord = std::array<unsigned char, 32>;

/// Opens the driver's device into `fd`, unless `fd` is above 0, which means open. 0, or -1 after logging `error`.
int OpenDevStatus(int& fd, Common::Logger::CFileLogger& logger, const char* error);

/// Closes `fd` if it is above 0 and makes it -1.
void CloseDevStatus(int& fd);

}  // namespace IOCTL
