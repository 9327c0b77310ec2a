// Sets the simulated board up when it is loaded.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/Board.h"
#include "sim/SimBoard.h"

namespace {

/// A call that slipped through must not reach the PC: nobody on the simulated board may set the clock or mount.
void DropCapabilities()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, sets) != 0) {
        return;
    }
    for (const unsigned int capability : {unsigned{CAP_SYS_TIME}, unsigned{CAP_SYS_ADMIN}}) {
        prctl(PR_CAPBSET_DROP, capability);  // nor may the programs that this one becomes or starts
        __user_cap_data_struct& set = sets[CAP_TO_INDEX(capability)];
        set.effective &= ~CAP_TO_MASK(capability);
        set.permitted &= ~CAP_TO_MASK(capability);
        set.inheritable &= ~CAP_TO_MASK(capability);
    }
    syscall(SYS_capset, &header, sets);
}

std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// The launcher passes the folder for the board's files, the board's end of the serial line, and the faults to switch
/// on.
void SetUpFromEnvironment()
{
    const std::string folder = Variable("SIMBOARD_DIR");
    if (folder.empty()) {
        return;
    }
    Sim::LogToFile(folder + "/syslog");
    Sim::LineToFile(folder + "/ttyS0.settings");
    Sim::PowerOn();
    Sim::UseRealNetwork();
    Sim::UseFolder(folder);
    Sim::MetersTo(folder + "/meters");
    Sim::UseScreenFile(folder + "/screen", std::stoi(Variable("SIMBOARD_WIDTH")),
                       std::stoi(Variable("SIMBOARD_HEIGHT")));
    Sim::UseOperator();
    std::istringstream faults(Variable("SIMBOARD_FAULTS"));
    for (std::string fault; std::getline(faults, fault, ',');) {
        Sim::Break(fault);
    }
    const int boardFd = std::stoi(Variable("SIMBOARD_LINE"));
    if (isatty(boardFd) != 0) {  // unless the program before this one has closed it
        static const Sim::SerialPort line("/dev/ttyS0", boardFd);
    }
}

__attribute__((constructor)) void SetUp()
{
    DropCapabilities();
    try {
        SetUpFromEnvironment();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "simboard: %s\n", exception.what());
        std::_Exit(2);
    }
}

}  // namespace
