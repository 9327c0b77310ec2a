// loopback: a text through the loopback plug on the board's second serial port.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Loopback : public CommandCheck {
public:
    explicit Loopback(const std::string& text)
        : CommandCheck(UART::CMD_COMM_TEST, {text.begin(), text.end()}), m_text(text)
    {
    }
    [[nodiscard]] std::string Description() const override
    {
        return "Send \"" + m_text + "\" through the loopback plug";
    }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{10}; }
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = "came back";
    }
    void ExplainFailure(const Bytes& values, Finding& finding) const override
    {
        finding.message = "did not come back: check the loopback plug on the second serial port";
        finding.values = {{"result code", double(values[0]), "", {}}};
    }

private:
    std::string m_text;
};

}  // namespace

std::unique_ptr<Check> MakeLoopback(Parameters& parameters)
{
    return std::make_unique<Loopback>(parameters.Text("text", BoardText(UART::UART_BODY_LEN)).value_or("0123456789"));
}

}  // namespace Station
