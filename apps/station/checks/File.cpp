// file: has the board write a file and read it back.
#include <iterator>

#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

Bytes Selected(const std::string& path)
{
    Bytes request = {DEVICE_FILE};
    request.insert(request.end(), path.begin(), path.end());
    return request;
}

class File : public CommandCheck {
public:
    explicit File(const std::string& path) : CommandCheck(UART::CMD_EXT_DEVICE_TEST, Selected(path)), m_path(path) {}
    [[nodiscard]] std::string Description() const override { return "Write " + m_path + " and read it back"; }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{30}; }
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = m_path + " reads back as written";
    }
    void ExplainFailure(const Bytes& values, Finding& finding) const override
    {
        constexpr const char* FAILURES[] = {
            "fails without a reason: see the board's system log",
            "cannot be written: check that its disk is plugged in, and that its folder exists and is writable",
            "cannot be opened again: check the disk that holds it",
            "reads back with other content: check the disk that holds it, and its free space",
        };
        const std::size_t code = values[0];
        finding.message = m_path + ' ' + FAILURES[code < std::size(FAILURES) ? code : 0];
        finding.values = {{"result code", double(values[0]), "", {}}};
    }

private:
    std::string m_path;
};

}  // namespace

std::unique_ptr<Check> MakeFile(Parameters& parameters)
{
    return std::make_unique<File>(parameters.RequiredText("file", BoardText(TEXT_LEN)));
}

}  // namespace Station
