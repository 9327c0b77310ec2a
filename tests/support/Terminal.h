// A program run by a test at a terminal, where the test types.
#pragma once

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "tests/support/Wait.h"

namespace Support {

/// Killed when it outlives this object.
class Terminal {
public:
    /// `columns` wide; 0 is a terminal that does not know its width.
    explicit Terminal(std::vector<std::string> command, unsigned short columns = 0)
    {
        const winsize size = {24, columns, 0, 0};
        m_pid = forkpty(&m_fd, nullptr, nullptr, &size);
        if (m_pid < 0) {
            throw std::system_error(errno, std::generic_category(), "forkpty");
        }
        if (m_pid == 0) {
            std::vector<char*> arguments;
            for (std::string& word : command) {
                arguments.push_back(word.data());
            }
            arguments.push_back(nullptr);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
    }
    ~Terminal()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            Finish();
        }
        close(m_fd);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Type(const std::string& keys) const
    {
        const ssize_t count = write(m_fd, keys.data(), keys.size());
        ASSERT_EQ(count, static_cast<ssize_t>(keys.size()));
    }
    /// Waits until the program has shown that text; false when it does not.
    bool Await(const std::string& text)
    {
        return WaitFor([&] {
            Take();
            return m_shown.find(text) != std::string::npos;
        });
    }
    /// Waits for the end; returns the exit code, or -1 after a signal.
    int Finish()
    {
        while (m_pid > 0 && waitpid(m_pid, &m_status, WNOHANG) == 0) {
            Take();
        }
        m_pid = -1;
        Take();
        return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
    }
    [[nodiscard]] const std::string& Shown() const { return m_shown; }
    /// Whether it shows what is typed and hands it on line by line, as it does for a shell.
    [[nodiscard]] bool IsAsForAShell() const
    {
        termios settings = {};
        tcgetattr(m_fd, &settings);
        return (settings.c_lflag & ICANON) != 0 && (settings.c_lflag & ECHO) != 0;
    }

private:
    void Take()
    {
        pollfd output = {m_fd, POLLIN, 0};
        char bytes[4096];
        while (poll(&output, 1, 10) > 0) {
            const ssize_t count = read(m_fd, bytes, sizeof bytes);
            if (count <= 0) {
                return;
            }
            m_shown.append(bytes, static_cast<std::size_t>(count));
        }
    }

    int m_fd = -1;
    pid_t m_pid = -1;
    int m_status = 0;
    std::string m_shown;
};

}  // namespace Support
