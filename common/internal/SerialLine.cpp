// Line settings of the library's serial ports.
#include "common/internal/SerialLine.h"

namespace Common {

namespace {

constexpr cc_t XON = 0x11;
constexpr cc_t XOFF = 0x13;

tcflag_t SpeedCode(int baud)
{
    switch (baud) {
    case 19200:
        return B19200;
    case 38400:
        return B38400;
    case 57600:
        return B57600;
    case 115200:
        return B115200;
    default:
        return B9600;
    }
}

tcflag_t CharacterSize(int dataBits)
{
    switch (dataBits) {
    case 5:
        return CS5;
    case 6:
        return CS6;
    case 7:
        return CS7;
    default:
        return CS8;
    }
}

}  // namespace

void SetUpSerialLine(int fd, int baud, int dataBits, tcflag_t controlFlags)
{
    termios line = {};
    line.c_iflag = IGNPAR;
    line.c_cflag = CREAD | SpeedCode(baud) | CharacterSize(dataBits) | controlFlags;
    line.c_cc[VSTART] = XON;
    line.c_cc[VSTOP] = XOFF;
    tcflush(fd, TCIFLUSH);
    tcsetattr(fd, TCSANOW, &line);
}

}  // namespace Common
