// outputs: drives the digital outputs. What they really do is for the inputs to read, or for somebody to look at.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Outputs : public CommandCheck {
public:
    explicit Outputs(const Bytes& pattern) : CommandCheck(UART::CMD_GPO_TEST, pattern), m_pattern(pattern) {}
    [[nodiscard]] std::string Description() const override { return "Set the digital outputs to " + Hex(m_pattern); }
    [[nodiscard]] bool IsJudgedByBoard() const override { return false; }
    [[nodiscard]] bool DrivesOutputs() const override { return true; }

protected:
    void Explain(const Bytes& /*values*/, Bench& bench, Finding& finding) const override
    {
        bench.state.outputs = m_pattern;
        finding.message = "set to " + Hex(m_pattern);
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = NO_STATUS_DRIVER;
    }

private:
    Bytes m_pattern;
};

}  // namespace

std::unique_ptr<Check> MakeOutputs(Parameters& parameters)
{
    return std::make_unique<Outputs>(parameters.RequiredByteList("pattern", 1, UART::UART_BODY_LEN));
}

}  // namespace Station
