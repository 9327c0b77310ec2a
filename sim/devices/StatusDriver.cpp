// "/dev/dev_status" of the simulated board: outputs wired back to inputs, PWM, version bits.
#include <algorithm>
#include <mutex>

#include "sim/Board.h"
#include "sim/Device.h"
#include "sim/SimBoard.h"

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

class Driver : public Node {
public:
    Driver() : Node("/dev/dev_status", "status-missing", "the status driver's device does not exist") {}

    std::optional<int> Request(unsigned long request, void* argument) override;
    void Reset() override;

    State Look();
    void SetVersion(const std::array<unsigned char, 3>& version);

private:
    [[nodiscard]] std::array<unsigned char, 2> Inputs() const;

    DeviceFault m_refuses{*this, "status-refuses",
                          "the status driver refuses every request: the inputs and the version bits read 0"};
    DeviceFault m_stuck{*this, "inputs-stuck", "all inputs read 0"};
    DeviceFault m_open{*this, "input-open", "input 0 is not connected and reads 0"};
    DeviceFault m_pwmRefused{*this, "pwm-refused",
                             "the status driver refuses the PWM setting: only an instrument can tell"};

    std::mutex m_mutex;
    State m_state;
};

std::optional<int> Driver::Request(unsigned long request, void* argument)
{
    const std::lock_guard lock(m_mutex);
    auto* const record = static_cast<unsigned char*>(argument);
    if (m_refuses || (request == PWM && m_pwmRefused)) {
        return -EIO;
    }
    switch (request) {
    case GPO:
        std::copy_n(record, m_state.outputs.size(), m_state.outputs.begin());
        return 0;
    case GPI: {
        const auto inputs = Inputs();
        std::copy(inputs.begin(), inputs.end(), record);
        return 0;
    }
    case PWM:
        m_state.pwm = record[0];
        Meter("pwm", std::to_string(m_state.pwm));
        return 0;
    case HW_VERSION:
        std::copy(m_state.version.begin(), m_state.version.end(), record);
        return 0;
    default:
        return -ENOTTY;
    }
}

std::array<unsigned char, 2> Driver::Inputs() const
{
    std::array<unsigned char, 2> inputs = m_state.outputs;
    if (m_stuck) {
        inputs = {};
    }
    if (m_open) {
        inputs[0] &= 0xFE;
    }
    return inputs;
}

void Driver::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_state = {};
}

State Driver::Look()
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

void Driver::SetVersion(const std::array<unsigned char, 3>& version)
{
    const std::lock_guard lock(m_mutex);
    m_state.version = version;
}

Driver& TheDriver()
{
    static Driver& driver = *new Driver;  // never destroyed: calls arrive until the very end of the process
    return driver;
}

}  // namespace

Device& StatusDriver()
{
    return TheDriver();
}

std::array<unsigned char, 2> Outputs()
{
    return TheDriver().Look().outputs;
}

int Pwm()
{
    return TheDriver().Look().pwm;
}

void SetVersion(const std::array<unsigned char, 3>& version)
{
    TheDriver().SetVersion(version);
}

}  // namespace Sim
