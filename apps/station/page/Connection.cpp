// A browser's connection, with limits.
#include "apps/station/page/Connection.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace Station {

namespace {

constexpr std::size_t MOST_REQUEST = 64UL * 1024;  // bytes, with its headers
constexpr std::size_t PIECE = 4096;                // bytes
constexpr std::chrono::seconds WRITE_LIMIT{10};
constexpr std::chrono::seconds FINISH_LIMIT{1};

}  // namespace

void Connection::Shut() const
{
    ::shutdown(m_socket.Get(), SHUT_RDWR);
}

void Connection::Finish()
{
    ::shutdown(m_socket.Get(), SHUT_WR);
    const Time deadline = std::chrono::steady_clock::now() + FINISH_LIMIT;
    std::array<char, PIECE> rest{};
    std::size_t thrown = 0;
    ssize_t count = 1;
    while (count > 0 && thrown < MOST_REQUEST && Await(POLLIN, deadline)) {
        count = recv(m_socket.Get(), rest.data(), rest.size(), 0);
        thrown += rest.size();
    }
}

ssize_t Connection::read(char* to, std::size_t size)
{
    if (m_at == m_buffer.size() && !Fill()) {
        return -1;
    }
    const std::size_t count = std::min(size, m_buffer.size() - m_at);
    std::copy_n(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_at), count, to);
    m_at += count;
    return static_cast<ssize_t>(count);
}

bool Connection::Fill()
{
    std::array<char, PIECE> piece{};
    const std::size_t most = std::min(piece.size(), MOST_REQUEST - m_received);
    if (most == 0 || !Await(POLLIN, m_deadline)) {
        return false;
    }
    const ssize_t count = recv(m_socket.Get(), piece.data(), most, 0);
    if (count <= 0) {
        return false;
    }
    m_received += static_cast<std::size_t>(count);
    m_buffer.assign(piece.data(), static_cast<std::size_t>(count));
    m_at = 0;
    return true;
}

ssize_t Connection::write(const char* from, std::size_t size)
{
    const Time deadline = std::chrono::steady_clock::now() + WRITE_LIMIT;
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t count = send(m_socket.Get(), from + sent, size - sent, MSG_NOSIGNAL);
        const bool isFull = count < 0 && (errno == EAGAIN || errno == EINTR);
        if ((count < 0 && !isFull) || (isFull && !Await(POLLOUT, deadline))) {
            return -1;
        }
        sent += isFull ? 0 : static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(size);
}

/// False when the deadline comes first.
bool Connection::Await(short events, Time deadline)
{
    pollfd watched = {m_socket.Get(), events, 0};
    m_isWaiting = true;
    int ready = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        ready = left.count() > 0 ? poll(&watched, 1, static_cast<int>(left.count())) : 0;
    } while (ready < 0 && errno == EINTR);
    m_isWaiting = false;
    return ready > 0;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ip.clear();  // nobody asks
    port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const
{
    ip.clear();
    port = 0;
}

}  // namespace Station
