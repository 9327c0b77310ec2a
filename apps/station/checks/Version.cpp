// version: the board's hardware version bits and the library's version, each against the expected one.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Version : public CommandCheck {
public:
    Version(std::optional<std::string> hardware, std::optional<std::string> library)
        : CommandCheck(UART::CMD_READ_VERSION, {}), m_hardware(std::move(hardware)), m_library(std::move(library))
    {
    }
    [[nodiscard]] std::string Description() const override { return "Read the hardware and library versions"; }

protected:
    void Explain(const Bytes& values, Bench& /*bench*/, Finding& finding) const override
    {
        const auto number = [&values](std::size_t at) { return std::to_string(values[at]); };
        const std::string hardware = number(0) + ' ' + number(1) + ' ' + number(2);
        const std::string library = number(3) + '.' + number(4) + '.' + number(5);
        finding.message = "hardware " + hardware + ", library " + library;
        finding.values = {{"hardware version", hardware, "", {{}, {}, m_hardware}},
                          {"library version", library, "", {{}, {}, m_library}}};
        if (library == "0.0.0") {  // as an application replies that fills in nothing
            finding.result = Result::Fail;
            finding.message = "the board tells no library version: check its test application";
        }
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = NO_STATUS_DRIVER;
    }

private:
    std::optional<std::string> m_hardware;
    std::optional<std::string> m_library;
};

}  // namespace

std::unique_ptr<Check> MakeVersion(Parameters& parameters)
{
    return std::make_unique<Version>(parameters.Text("hardware", NotEmpty), parameters.Text("library", NotEmpty));
}

}  // namespace Station
