// Where the operator's page is, and who may use it.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <httplib.h>

namespace Station {

/// What the page listens on.
struct ListenAddress {
    std::string host = "127.0.0.1";  ///< name or IP address, without brackets
    int port = 8080;                 ///< 0 for any that is free

    [[nodiscard]] bool IsLoopback() const;
    /// Of every interface.
    [[nodiscard]] bool IsWildcard() const;
    /// "127.0.0.1:8080", "[::1]:8080"
    [[nodiscard]] std::string Text() const;
};

/// Understands "127.0.0.1:8080", "localhost:8080", "[::1]:8080".
/// @throws std::invalid_argument
ListenAddress ParseListenAddress(const std::string& text);

/// "https://bench.example.com", as a browser names an origin: in small letters, without a path.
/// @throws std::invalid_argument
std::string ParseOrigin(const std::string& url);

/// Lets in whoever names the page by one of its own addresses. Other web pages know them, but a browser tells where a
/// request comes from, and a name that was made to point here is none of them.
class Access {
public:
    /// The further origins as ParseOrigin() gives them.
    Access(const ListenAddress& address, const std::vector<std::string>& origins);

    /// Why the request is refused, as a sentence; empty when it is not.
    [[nodiscard]] std::string Refusal(const httplib::Request& request) const;

private:
    std::set<std::string> m_hosts;    ///< values of the Host header
    std::set<std::string> m_origins;  ///< values of the Origin header
};

}  // namespace Station
