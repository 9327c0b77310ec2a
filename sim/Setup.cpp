// Sets the simulated board up when it is loaded.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

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
        __user_cap_data_struct& set = sets[CAP_TO_INDEX(capability)];
        set.effective &= ~CAP_TO_MASK(capability);
        set.permitted &= ~CAP_TO_MASK(capability);
        set.inheritable &= ~CAP_TO_MASK(capability);
    }
    syscall(SYS_capset, &header, sets);
}

/// The launcher names the folder where the board's system log and the far end of its serial line appear.
void SetUpFromEnvironment()
{
    const char* const folder = std::getenv("SIMBOARD_DIR");
    if (folder == nullptr) {
        return;
    }
    const std::string path(folder);
    Sim::LogToFile(path + "/syslog");
    static const Sim::SerialPort line("/dev/ttyS0");
    if (symlink(line.StationPath().c_str(), (path + "/ttyS0").c_str()) != 0) {
        std::perror("simboard: the link to the serial line");
        std::_Exit(2);
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
