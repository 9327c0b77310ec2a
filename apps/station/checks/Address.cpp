// address: has the board read the IPv4 address of one of its network interfaces.
#include <arpa/inet.h>

#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

constexpr std::size_t NAME_LEN = 15;
constexpr int ADDRESS_BITS = 32;

/// "192.168.1.0/24"
struct Network {
    in_addr_t address = 0;  // in host byte order, as the mask
    in_addr_t mask = 0;
};

std::optional<in_addr_t> ParseAddress(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? std::optional(ntohl(address.s_addr)) : std::nullopt;
}

std::optional<Network> ParseNetwork(const std::string& text)
{
    const std::size_t slash = text.find('/');
    const auto address = ParseAddress(text.substr(0, slash));
    const std::string digits = slash == std::string::npos ? "" : text.substr(slash + 1);
    const bool isNumber =
        !digits.empty() && digits.size() <= 2 && digits.find_first_not_of("0123456789") == std::string::npos;
    if (!address || !isNumber || std::stoi(digits) < 1 || std::stoi(digits) > ADDRESS_BITS) {
        return std::nullopt;
    }
    return Network{*address, static_cast<in_addr_t>(~in_addr_t{0} << (ADDRESS_BITS - std::stoi(digits)))};
}

std::string NetworkRule(const std::string& text)
{
    return ParseNetwork(text) ? "" : "expected a network such as 192.168.1.0/24";
}

Bytes Selected(const std::string& name)
{
    Bytes request = {DEVICE_ADDRESS};
    request.insert(request.end(), name.begin(), name.end());
    return request;
}

class Address : public CommandCheck {
public:
    Address(const std::string& name, std::optional<std::string> expected, std::optional<std::string> network)
        : CommandCheck(UART::CMD_EXT_DEVICE_TEST, Selected(name)),
          m_name(name),
          m_expected(std::move(expected)),
          m_network(std::move(network))
    {
    }
    [[nodiscard]] std::string Description() const override { return "Read the address of " + m_name; }

protected:
    void Explain(const Bytes& values, Bench& /*bench*/, Finding& finding) const override
    {
        const std::string text = TextOf(values, 0);
        const auto address = ParseAddress(text);
        finding.message = m_name + " has " + text;
        finding.values = {{"address", text, "", {{}, {}, m_expected}}};
        if (!address || *address == INADDR_ANY) {
            finding.result = Result::Fail;
            finding.message =
                "the board says that " + m_name + " has an address, and tells none: check its test application";
        } else if (const auto network = m_network ? ParseNetwork(*m_network) : std::nullopt;
                   network && ((*address ^ network->address) & network->mask) != 0) {
            finding.result = Result::Fail;
            finding.message = m_name + " has " + text + ", expected one of " + *m_network +
                              ": check the network that it is plugged into";
        }
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = m_name + " has no address: check the interface's name, its set-up and the network cable";
    }

private:
    std::string m_name;
    std::optional<std::string> m_expected;
    std::optional<std::string> m_network;
};

}  // namespace

std::unique_ptr<Check> MakeAddress(Parameters& parameters)
{
    return std::make_unique<Address>(parameters.RequiredText("interface", BoardText(NAME_LEN)),
                                     parameters.Text("expect", Ipv4Address), parameters.Text("network", NetworkRule));
}

}  // namespace Station
