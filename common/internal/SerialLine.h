// Line settings of the library's serial ports.
#pragma once

#include <termios.h>

namespace Common {

/// Discards pending input of an open port and makes it a raw line that ignores bytes with parity errors: `baud` is
/// 19200, 38400, 57600 or 115200 bit/s, anything else is 9600; `dataBits` is 5, 6 or 7, anything else is 8.
/// `controlFlags` are added to CREAD, the speed and the character size. When the system refuses these settings, the
/// port keeps those it has.
void SetUpSerialLine(int fd, int baud, int dataBits, tcflag_t controlFlags);

}  // namespace Common
