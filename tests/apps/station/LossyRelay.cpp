// A relay between the station and PostgreSQL that loses what a test tells it to lose.
#include "LossyRelay.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int LOOK_MS = 20;  // between two looks at the stop flag

int Expect(int result, const char* call)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
    return result;
}

int ConnectTo(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int server = Expect(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    if (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(server);
        return -1;
    }
    return server;
}

/// Empty at the end.
std::string Receive(int from)
{
    char bytes[65536];
    const ssize_t count = recv(from, bytes, sizeof bytes, 0);
    return {bytes, static_cast<std::size_t>(count > 0 ? count : 0)};
}

bool Send(int to, const std::string& bytes)
{
    return send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

}  // namespace

LossyRelay::LossyRelay(const std::string& socket, std::function<Loss()> choose)
    : m_socket(socket), m_choose(std::move(choose)), m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    Expect(m_listener, "socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Expect(bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    Expect(listen(m_listener, SOMAXCONN), "listen");
    m_thread = std::thread([this] { Serve(); });
}

LossyRelay::~LossyRelay()
{
    m_stop = true;
    m_thread.join();
    close(m_listener);
}

std::string LossyRelay::Url(const std::string& database) const
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    Expect(getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return "postgresql://station@127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + '/' + database;
}

void LossyRelay::Serve()
{
    while (!m_stop) {
        pollfd listener = {m_listener, POLLIN, 0};
        if (poll(&listener, 1, LOOK_MS) > 0) {
            const int station = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            Pass(station);
            close(station);
        }
    }
}

void LossyRelay::Pass(int station)
{
    const int server = ConnectTo(m_socket);
    bool isOpen = server >= 0;
    while (isOpen && !m_stop) {
        pollfd ends[] = {{station, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(ends, 2, LOOK_MS) <= 0) {
            continue;
        }
        if (ends[1].revents != 0) {
            const std::string answer = Receive(server);
            isOpen = !answer.empty() && Send(station, answer);
        }
        if (isOpen && ends[0].revents != 0) {
            isOpen = PassRequest(station, server);
        }
    }
    close(server);
}

/// False when the connection is to end.
bool LossyRelay::PassRequest(int station, int server)
{
    const std::string request = Receive(station);
    const bool isCommit = request.find(std::string("commit\0", 7)) != std::string::npos;
    const Loss loss = isCommit ? m_choose() : Loss::Nothing;
    if (request.empty() || loss == Loss::Commit || !Send(server, request)) {
        return false;
    }
    if (loss != Loss::Nothing) {
        Receive(server);  // it has been carried out
    }
    if (loss == Loss::AnswerSilent) {
        AwaitHangUp(station);
    }
    return loss == Loss::Nothing;
}

void LossyRelay::AwaitHangUp(int station) const
{
    pollfd end = {station, POLLIN, 0};
    while (!m_stop && (poll(&end, 1, LOOK_MS) <= 0 || !Receive(station).empty())) {
    }
}
