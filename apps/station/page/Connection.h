// A browser's connection, with limits.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>

#include <httplib.h>

#include "apps/station/Descriptor.h"

namespace Station {

/// Used by one thread, but for IsWaiting() and Shut(). It gives up after 64 KiB of a request, 10 s after its beginning
/// when it has not been sent by then, and 10 s after the beginning of a piece of the response when that has not been
/// taken.
class Connection : public httplib::Stream {
public:
    explicit Connection(int socket) : m_socket(socket) {}

    /// True while it waits for the browser to send or to take something.
    [[nodiscard]] bool IsWaiting() const { return m_isWaiting; }
    /// Ends it; a wait ends as well.
    void Shut() const;
    /// Ends a response, and lets the browser read it: what it still sends is thrown away, 64 KiB and a second
    /// at most.
    void Finish();

    // httplib::Stream
    [[nodiscard]] bool is_readable() const override { return true; }
    [[nodiscard]] bool is_writable() const override { return true; }
    ssize_t read(char* to, std::size_t size) override;
    ssize_t write(const char* from, std::size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    [[nodiscard]] socket_t socket() const override { return m_socket.Get(); }

private:
    using Time = std::chrono::steady_clock::time_point;

    bool Await(short events, Time deadline);
    bool Fill();

    Descriptor m_socket;  ///< that does not block
    const Time m_deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string m_buffer;
    std::size_t m_at = 0;  ///< in the buffer
    std::size_t m_received = 0;
    std::atomic<bool> m_isWaiting{false};
};

}  // namespace Station
