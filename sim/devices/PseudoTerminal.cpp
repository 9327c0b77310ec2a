// A pseudo-terminal of the simulated board, raw and with both ends open, so that it never hangs up.
#include "sim/devices/PseudoTerminal.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <termios.h>

#include "sim/Real.h"

namespace Sim {

namespace {

void SetRaw(int fd)
{
    static auto* const next = Next<int(int, int, const termios*)>("tcsetattr");
    termios line = {};
    tcgetattr(fd, &line);
    cfmakeraw(&line);
    next(fd, TCSANOW, &line);
}

}  // namespace

PseudoTerminal::PseudoTerminal() : PseudoTerminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    SetRaw(m_terminal);
}

PseudoTerminal::PseudoTerminal(int controller) : m_controller(controller)
{
    char path[64] = {};
    if (m_controller >= 0 && unlockpt(m_controller) == 0 && ptsname_r(m_controller, path, sizeof path) == 0) {
        m_terminal = Real::Open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    if (m_terminal < 0) {
        throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
    }
    m_path = path;
}

PseudoTerminal::~PseudoTerminal()
{
    Real::Close(m_controller);
    Real::Close(m_terminal);
}

}  // namespace Sim
