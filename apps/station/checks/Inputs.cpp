// inputs: reads the digital inputs, which must be as expected or as the outputs were driven.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

constexpr std::size_t INPUT_BYTES = 2;

class Inputs : public CommandCheck {
public:
    Inputs(std::optional<Bytes> expected, Bytes mask)
        : CommandCheck(UART::CMD_GPI_TEST, {}), m_expected(std::move(expected)), m_mask(std::move(mask))
    {
    }
    [[nodiscard]] std::string Description() const override
    {
        return m_expected ? "Read the digital inputs" : "Read the digital inputs, wired to the outputs";
    }
    [[nodiscard]] bool ReadsOutputs() const override { return !m_expected; }

protected:
    void Explain(const Bytes& values, Bench& bench, Finding& finding) const override
    {
        const std::optional<Bytes>& expected = m_expected ? m_expected : bench.state.outputs;
        if (!expected) {
            finding.result = Result::NotDone;
            finding.message = "the outputs have not been driven before";
            return;
        }
        const std::string inputs = Masked(values);
        finding.message = inputs + (m_expected ? ", as expected" : ", as driven");
        finding.values = {{"inputs", inputs, "", {{}, {}, Masked(*expected)}}};
        if (!finding.values[0].IsWithin()) {
            finding.result = Result::Fail;
            finding.message =
                "inputs " + inputs + ", expected " + Masked(*expected) + ": check the wiring from outputs to inputs";
        }
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = NO_STATUS_DRIVER;
    }

private:
    [[nodiscard]] std::string Masked(Bytes bytes) const
    {
        bytes.resize(INPUT_BYTES);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<unsigned char>(bytes[i] & m_mask[i]);
        }
        return Hex(bytes);
    }

    std::optional<Bytes> m_expected;
    Bytes m_mask;
};

}  // namespace

std::unique_ptr<Check> MakeInputs(Parameters& parameters)
{
    const Bytes mask = parameters.ByteList("mask", INPUT_BYTES, INPUT_BYTES).value_or(Bytes(INPUT_BYTES, 0xFF));
    if (mask == Bytes(INPUT_BYTES, 0)) {
        parameters.Report("mask", "expected at least one bit: nothing would be compared");
    }
    return std::make_unique<Inputs>(parameters.ByteList("expect", INPUT_BYTES, INPUT_BYTES), mask);
}

}  // namespace Station
