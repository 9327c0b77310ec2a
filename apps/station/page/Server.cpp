// The HTTP server of the operator's page.
#include "apps/station/page/Server.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include "apps/station/page/StaticFiles.h"

namespace Station {

namespace {

constexpr std::size_t MOST_CONNECTIONS = 64;
constexpr std::size_t MOST_PATH = 256;  // bytes; matching a regular expression takes stack for each
constexpr std::chrono::milliseconds ROOM_LIMIT{1000};
constexpr std::chrono::milliseconds RETRY_INTERVAL{100};

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses Resolve(const ListenAddress& address)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
    if (error != 0) {
        throw std::runtime_error(address.Text() + ": " + gai_strerror(error));
    }
    return {found, &freeaddrinfo};
}

int Listen(const ListenAddress& address)
{
    const Addresses found = Resolve(address);
    const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    if (fd < 0 || bind(fd, found->ai_addr, found->ai_addrlen) != 0 || listen(fd, SOMAXCONN) != 0) {
        const int error = errno;
        close(fd);
        throw std::system_error(error, std::generic_category(), "the page cannot be served on " + address.Text());
    }
    return fd;
}

/// Of a listening socket.
int PortOf(int socket)
{
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<sockaddr_in&>(address).sin_port);
}

void SetError(httplib::Response& response, int status, const std::string& message)
{
    response.status = status;
    response.set_content(
        nlohmann::json{{"error", message}}.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
        "application/json");
}

httplib::Headers SafetyHeaders()
{
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
             "form-action 'none'; frame-ancestors 'none'; base-uri 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cache-Control", "no-store"}};
}

}  // namespace

Server::Server(const ListenAddress& address, const std::vector<std::string>& origins)
    : m_address(address),
      m_socket(Listen(address)),
      m_access({address.host, m_address.port = PortOf(m_socket.Get())}, origins)
{
    set_default_headers(SafetyHeaders());
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        return ServeOwn(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    set_exception_handler([](const httplib::Request&, httplib::Response& response, const std::exception_ptr& thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const RequestError& error) {
            SetError(response, error.Status(), error.what());
        } catch (const std::exception& error) {
            SetError(response, 500, error.what());
        }
    });
    set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
            SetError(response, response.status, "There is nothing here that this request could get.");
        }
    });
}

Server::~Server()
{
    svr_sock_ = -1;  // ends the streams
    ::shutdown(m_socket.Get(), SHUT_RDWR);
    if (m_acceptor.joinable()) {
        m_acceptor.join();
    }
    std::unique_lock lock(m_mutex);
    for (const Client& client : m_clients) {
        if (client.connection) {
            client.connection->Shut();
        }
    }
    m_onOver.wait(lock, [this] {
        return std::none_of(m_clients.begin(), m_clients.end(),
                            [](const Client& client) { return client.connection.has_value(); });
    });
    Reap();
}

void Server::Start()
{
    svr_sock_ = m_socket.Get();
    m_acceptor = std::thread([this] { Accept(); });
}

/// True when the request has been answered.
bool Server::ServeOwn(const httplib::Request& request, httplib::Response& response) const
{
    if (const std::string refusal = m_access.Refusal(request); !refusal.empty()) {
        SetError(response, 403, refusal);
        return true;
    }
    if (request.path.size() > MOST_PATH) {
        SetError(response, 404, "There is nothing behind so long a path.");
        return true;
    }
    if (request.has_header("Content-Encoding")) {  // a few bytes would unpack to more than there is memory
        SetError(response, 415, "A request must not be compressed.");
        return true;
    }
    const bool isRead = request.method == "GET" || request.method == "HEAD";
    const StaticFile* const file = isRead ? FindStaticFile(request.path) : nullptr;
    if (file != nullptr) {
        response.set_content(file->begin, static_cast<std::size_t>(file->end - file->begin), file->type);
    }
    return file != nullptr;
}

/// Until the socket is shut down.
void Server::Accept()
{
    while (svr_sock_ >= 0) {
        const int socket = accept4(m_socket.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket >= 0) {
            const int yes = 1;
            setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
            Take(socket);
        } else if (errno != EINTR && errno != ECONNABORTED && svr_sock_ >= 0) {
            std::this_thread::sleep_for(RETRY_INTERVAL);  // no descriptor is left: the tests need it more
        }
    }
}

void Server::Take(int socket)
{
    std::unique_lock lock(m_mutex);
    Reap();
    if (IsFull()) {
        MakeRoom(lock);
    }
    if (IsFull()) {
        close(socket);
        return;
    }
    Client& client = m_clients.emplace_back();
    client.connection.emplace(socket);
    try {
        client.thread = std::thread([this, &client] { Serve(client); });
    } catch (const std::system_error&) {  // the system has no thread left: the browser tries again
        m_clients.pop_back();
    }
}

void Server::Serve(Client& client)
{
    try {
        bool isClosed = false;
        process_request(*client.connection, true, isClosed, [](httplib::Request& request) {
            request.ranges.clear();  // many of them would make a small file a large response
        });
        client.connection->Finish();
    } catch (const std::exception&) {  // memory is short: the browser sees the end of its connection
    }
    const std::lock_guard lock(m_mutex);
    client.connection.reset();
    m_onOver.notify_all();
}

/// Called with the mutex, as are those below. What is over needs it no more.
void Server::Reap()
{
    m_clients.remove_if([](Client& client) {
        const bool isOver = !client.connection;
        if (isOver && client.thread.joinable()) {
            client.thread.join();
        }
        return isOver;
    });
}

bool Server::IsFull() const
{
    const auto count = std::count_if(m_clients.begin(), m_clients.end(),
                                     [](const Client& client) { return client.connection.has_value(); });
    return static_cast<std::size_t>(count) >= MOST_CONNECTIONS;
}

/// Whoever is slow gives way: the rest is quick, or a stream that takes what it gets.
void Server::MakeRoom(std::unique_lock<std::mutex>& lock)
{
    const auto slow = std::find_if(m_clients.begin(), m_clients.end(), [](const Client& client) {
        return client.connection && client.connection->IsWaiting();
    });
    if (slow != m_clients.end()) {
        slow->connection->Shut();
        m_onOver.wait_for(lock, ROOM_LIMIT, [this] { return !IsFull(); });
    }
}

}  // namespace Station
