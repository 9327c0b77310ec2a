// ping: has the board ping a host.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

Bytes Selected(const std::string& host)
{
    Bytes request = {DEVICE_PING};
    request.insert(request.end(), host.begin(), host.end());
    return request;
}

class Ping : public CommandCheck {
public:
    explicit Ping(const std::string& host) : CommandCheck(UART::CMD_EXT_DEVICE_TEST, Selected(host)), m_host(host) {}
    [[nodiscard]] std::string Description() const override { return "Ping " + m_host; }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{10}; }
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = "answer from " + m_host;
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = "no answer from " + m_host + ": check the network cable, and that this host is there";
    }

private:
    std::string m_host;
};

}  // namespace

std::unique_ptr<Check> MakePing(Parameters& parameters)
{
    return std::make_unique<Ping>(parameters.RequiredText("host", Ipv4Address));
}

}  // namespace Station
