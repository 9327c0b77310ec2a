// A pseudo-terminal for tests: the test holds one end, the code under test opens the other.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Support {

using Bytes = std::basic_string<unsigned char>;

/// Reads from `fd` until `count` bytes are there, nothing has come for `quiet`, or the other end is gone.
inline Bytes ReadBytes(int fd, std::size_t count, std::chrono::milliseconds quiet = std::chrono::seconds(5))
{
    Bytes bytes;
    pollfd port = {fd, POLLIN, 0};
    while (bytes.size() < count && poll(&port, 1, static_cast<int>(quiet.count())) > 0) {
        unsigned char chunk[4096];
        const ssize_t got = read(fd, chunk, std::min(sizeof chunk, count - bytes.size()));
        if (got <= 0) {
            break;
        }
        bytes.append(chunk, static_cast<std::size_t>(got));
    }
    return bytes;
}

inline void WriteBytes(int fd, const Bytes& bytes)
{
    if (write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "write to the pseudo-terminal");
    }
}

class Pty {
public:
    Pty() : m_fd(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        char path[64];
        if (m_fd < 0 || unlockpt(m_fd) != 0 || ptsname_r(m_fd, path, sizeof path) != 0) {
            throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
        }
        m_path = path;
        termios line = {};
        tcgetattr(m_fd, &line);
        cfmakeraw(&line);
        tcsetattr(m_fd, TCSANOW, &line);
    }
    ~Pty() { Close(); }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    void Close()
    {
        if (m_fd >= 0) {
            close(m_fd);
            m_fd = -1;
        }
    }

    [[nodiscard]] int Fd() const { return m_fd; }
    /// What the code under test opens.
    [[nodiscard]] const std::string& Path() const { return m_path; }

    void Write(const Bytes& bytes) const { WriteBytes(m_fd, bytes); }
    [[nodiscard]] Bytes Read(std::size_t count, std::chrono::milliseconds quiet = std::chrono::seconds(5)) const
    {
        return ReadBytes(m_fd, count, quiet);
    }

private:
    int m_fd;
    std::string m_path;
};

}  // namespace Support
