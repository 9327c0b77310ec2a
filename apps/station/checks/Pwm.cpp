// pwm: sets the PWM outputs. What comes out of them has to be measured, or looked at.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Pwm : public CommandCheck {
public:
    explicit Pwm(int setting)
        : CommandCheck(UART::CMD_PWM_OUT_TEST, {static_cast<unsigned char>(setting)}), m_setting(setting)
    {
    }
    [[nodiscard]] std::string Description() const override
    {
        return "Set the PWM outputs to " + std::to_string(m_setting);
    }
    [[nodiscard]] bool IsJudgedByBoard() const override { return false; }

protected:
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = "set to " + std::to_string(m_setting);
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = NO_STATUS_DRIVER;
    }

private:
    int m_setting;
};

}  // namespace

std::unique_ptr<Check> MakePwm(Parameters& parameters)
{
    return std::make_unique<Pwm>(parameters.RequiredInteger("setting", 0, 3));
}

}  // namespace Station
