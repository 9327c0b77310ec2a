// Which checks of the built-in plan fail for a fault of the board. Faults have the names that the simulated board gives
// them.
#pragma once

#include <map>
#include <set>
#include <string>

namespace Station {

/// The checks by name. A fault without any is one that the board's interfaces do not show to a station.
inline const std::map<std::string, std::set<std::string>> PLAN_FAULTS = {
    {"status-missing",
     {"CMD_READ_VERSION", "CMD_GPO_TEST", "CMD_GPI_TEST", "CMD_GPO_TEST/inverted", "CMD_GPI_TEST/inverted",
      "CMD_PWM_OUT_TEST"}},
    {"status-refuses", {"CMD_GPI_TEST", "CMD_GPI_TEST/inverted"}},
    {"inputs-stuck", {"CMD_GPI_TEST", "CMD_GPI_TEST/inverted"}},
    {"input-open", {"CMD_GPI_TEST"}},
    {"pwm-refused", {}},
    {"rtc-missing", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
    {"rtc-refuses", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
    {"rtc-forgets", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
    {"rtc-stopped", {"CMD_RTC_TEST/read"}},
    {"rtc-garbled", {"CMD_RTC_TEST/set", "CMD_RTC_TEST/read"}},
    {"clock-refused", {}},
    {"disk-missing", {"CMD_EXT_DEVICE_TEST/disk", "CMD_EXT_DEVICE_TEST/file"}},
    {"disk-unformatted", {"CMD_EXT_DEVICE_TEST/disk", "CMD_EXT_DEVICE_TEST/file"}},
    {"disk-partitioned", {}},
    {"disk-full", {"CMD_EXT_DEVICE_TEST/file"}},
    {"disk-read-only", {"CMD_EXT_DEVICE_TEST/file"}},
    {"disk-corrupt", {"CMD_EXT_DEVICE_TEST/file"}},
    {"network-down", {"CMD_EXT_DEVICE_TEST/ping"}},
    {"ping-silent", {"CMD_EXT_DEVICE_TEST/ping"}},
    {"ping-stranger", {"CMD_EXT_DEVICE_TEST/ping"}},
    {"ping-refused", {"CMD_EXT_DEVICE_TEST/ping"}},
    {"interface-missing", {"CMD_EXT_DEVICE_TEST/address"}},
    {"serial-missing", {"CMD_COMM_TEST"}},
    {"loopback-unplugged", {"CMD_COMM_TEST"}},
    {"loopback-cut", {"CMD_COMM_TEST"}},
    {"loopback-late", {"CMD_COMM_TEST"}},
    {"loopback-garbled", {"CMD_COMM_TEST"}},
    {"display-missing",
     {"CMD_LCD_BLU_TEST/black", "CMD_LCD_BLU_TEST/white", "CMD_LCD_BLU_TEST/bars", "CMD_LCD_BLU_TEST/dim",
      "CMD_LCD_BLU_TEST/brightness", "CMD_TOUCH_TEST"}},
    {"display-refuses",
     {"CMD_LCD_BLU_TEST/black", "CMD_LCD_BLU_TEST/white", "CMD_LCD_BLU_TEST/bars", "CMD_LCD_BLU_TEST/dim",
      "CMD_LCD_BLU_TEST/brightness", "CMD_TOUCH_TEST"}},
    {"touch-missing", {"CMD_TOUCH_TEST"}},
    {"touch-shifted", {"CMD_TOUCH_TEST"}},
    {"touch-mirrored", {"CMD_TOUCH_TEST"}},
    {"touch-unplugged", {"CMD_TOUCH_TEST"}},
    {"touch-silent", {"CMD_TOUCH_TEST"}},
};

}  // namespace Station
