// "/dev/dev_status" of the simulated board: outputs wired back to inputs, PWM, version bits.
#include <algorithm>
#include <cerrno>
#include <mutex>

#include "sim/Devices.h"

namespace Sim {

namespace {

constexpr unsigned long GPO = 0x440;
constexpr unsigned long GPI = 0x441;
constexpr unsigned long PWM = 0x442;
constexpr unsigned long HW_VERSION = 0x443;

struct State {
    std::array<unsigned char, 2> outputs = {};
    std::array<unsigned char, 3> version = {1, 0, 1};
    int pwm = 0;
};

std::mutex g_mutex;

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

std::array<unsigned char, 2> Inputs()
{
    std::array<unsigned char, 2> inputs = TheState().outputs;
    if (HasFault("inputs-stuck")) {
        inputs = {};
    }
    if (HasFault("input-open")) {
        inputs[0] &= 0xFE;
    }
    return inputs;
}

class Driver : public Device {
public:
    int Open(int flags) override { return HasFault("status-missing") ? -ENOENT : OpenBehind("/dev/null", flags); }
    int Request(unsigned long request, void* argument) override
    {
        const std::lock_guard lock(g_mutex);
        auto* const record = static_cast<unsigned char*>(argument);
        if (HasFault("status-refuses") || (request == PWM && HasFault("pwm-refused"))) {
            return -EIO;
        }
        switch (request) {
        case GPO:
            std::copy_n(record, TheState().outputs.size(), TheState().outputs.begin());
            return 0;
        case GPI: {
            const auto inputs = Inputs();
            std::copy(inputs.begin(), inputs.end(), record);
            return 0;
        }
        case PWM:
            TheState().pwm = record[0];
            return 0;
        case HW_VERSION:
            std::copy(TheState().version.begin(), TheState().version.end(), record);
            return 0;
        default:
            return -ENOTTY;
        }
    }
};

}  // namespace

Device& StatusDriver()
{
    static Driver driver;
    return driver;
}

void ResetStatusDriver()
{
    const std::lock_guard lock(g_mutex);
    TheState() = {};
}

std::array<unsigned char, 2> Outputs()
{
    const std::lock_guard lock(g_mutex);
    return TheState().outputs;
}

int Pwm()
{
    const std::lock_guard lock(g_mutex);
    return TheState().pwm;
}

void SetVersion(const std::array<unsigned char, 3>& version)
{
    const std::lock_guard lock(g_mutex);
    TheState().version = version;
}

}  // namespace Sim
