// Where the operator's page is, and who may use it.
#include "apps/station/page/Access.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <regex>
#include <stdexcept>

#include <arpa/inet.h>

namespace Station {

namespace {

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

std::string InBrackets(const std::string& host)
{
    return host.find(':') == std::string::npos ? host : '[' + host + ']';
}

/// Browsers leave the scheme's own port out.
void AddHost(std::set<std::string>& hosts, const std::string& host, int port)
{
    constexpr int HTTP = 80;
    hosts.insert(host + ':' + std::to_string(port));
    if (port == HTTP) {
        hosts.insert(host);
    }
}

/// In the host's byte order, of any text that the system takes for one: "0" is 0.0.0.0, "127.1" is 127.0.0.1.
std::optional<in_addr_t> NumericIPv4(const std::string& host)
{
    in_addr address{};
    return inet_aton(host.c_str(), &address) != 0 ? std::optional(ntohl(address.s_addr)) : std::nullopt;
}

bool IsFromElsewhere(const httplib::Request& request)
{
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return site == "cross-site" || site == "same-site";
}

}  // namespace

bool ListenAddress::IsLoopback() const
{
    const auto address = NumericIPv4(host);
    return host == "localhost" || host == "::1" || (address && *address >> 24U == IN_LOOPBACKNET);
}

bool ListenAddress::IsWildcard() const
{
    constexpr std::size_t IPV4 = 3;  // the last 32 bits of ::ffff:0.0.0.0
    in6_addr address{};
    const bool isIPv6 = inet_pton(AF_INET6, host.c_str(), &address) == 1;
    const bool isMapped = isIPv6 && IN6_IS_ADDR_V4MAPPED(&address) && address.s6_addr32[IPV4] == 0;
    return NumericIPv4(host) == INADDR_ANY || isMapped || (isIPv6 && IN6_IS_ADDR_UNSPECIFIED(&address));
}

std::string ListenAddress::Text() const
{
    return InBrackets(host) + ':' + std::to_string(port);
}

ListenAddress ParseListenAddress(const std::string& text)
{
    static const std::regex FORM(R"((?:\[([0-9a-fA-F:.]{2,45})\]|([0-9a-zA-Z._-]{1,253})):([0-9]{1,5}))");
    constexpr int MOST = 65535;
    std::smatch parts;
    if (!std::regex_match(text, parts, FORM) || std::stoi(parts[3]) > MOST) {
        throw std::invalid_argument(text + ": expected ADDRESS:PORT, such as 127.0.0.1:8080 or [::1]:8080");
    }
    return {Lower(parts[1].matched ? parts[1] : parts[2]), std::stoi(parts[3])};
}

std::string ParseOrigin(const std::string& url)
{
    static const std::regex FORM(R"((https?://(?:\[[0-9a-f:.]{2,45}\]|[0-9a-z._-]{1,253})(?::[0-9]{1,5})?)/?)");
    const std::string small = Lower(url);
    std::smatch parts;
    if (!std::regex_match(small, parts, FORM)) {
        throw std::invalid_argument(url + ": expected scheme and host, such as https://bench.example.com");
    }
    return parts[1];
}

Access::Access(const ListenAddress& address, const std::vector<std::string>& origins)
    : m_origins(origins.begin(), origins.end())
{
    for (const std::string& host :
         {InBrackets(address.host), std::string("127.0.0.1"), std::string("localhost"), std::string("[::1]")}) {
        AddHost(m_hosts, host, address.port);
    }
    for (const std::string& host : m_hosts) {
        m_origins.insert("http://" + host);
    }
    for (const std::string& origin : origins) {
        m_hosts.insert(origin.substr(origin.find("//") + 2));
    }
}

std::string Access::Refusal(const httplib::Request& request) const
{
    const std::string host = Lower(request.get_header_value("Host"));
    if (request.get_header_value_count("Host") != 1 || m_hosts.count(host) == 0) {
        return "This page is not known as '" + host + "': name that address with --origin.";
    }
    const std::string origin = Lower(request.get_header_value("Origin"));
    const bool isOwn = request.get_header_value_count("Origin") == 1 && m_origins.count(origin) != 0;
    if (request.has_header("Origin") && !isOwn) {
        return "Requests of pages from '" + origin + "' are refused: name that address with --origin.";
    }
    if (request.path.rfind("/api/", 0) == 0 && IsFromElsewhere(request)) {
        return "Requests of other pages are refused.";
    }
    if (request.method == "GET" || request.method == "HEAD") {
        return "";
    }
    if (!isOwn) {
        return "A request that changes something has to name its origin.";
    }
    const std::string type = Lower(request.get_header_value("Content-Type"));
    return type.substr(0, type.find(';')) == "application/json" ? "" : "A request has to be of type application/json.";
}

}  // namespace Station
