// A program run by a test.
#pragma once

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Support {

/// A new path with each call.
inline std::string TemporaryPath(const std::string& name)
{
    static std::atomic<int> count = 0;  // programs are started from several threads
    return testing::TempDir() + "testmode-" + std::to_string(getpid()) + "-" + std::to_string(++count) + "-" + name;
}

inline std::string Content(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A running program; its standard output and error go to one file. Killed when it outlives this object.
class Program {
public:
    explicit Program(std::vector<std::string> command) : m_output(TemporaryPath("output"))
    {
        std::vector<char*> arguments;
        for (std::string& word : command) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        const int error = posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) {
            throw std::system_error(error, std::generic_category(), command[0]);
        }
    }
    ~Program()
    {
        Kill();
        std::remove(m_output.c_str());
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Kills it, unless it has ended.
    void Kill()
    {
        if (m_pid > 0) {
            Signal(SIGKILL);
            Finish();
        }
    }
    [[nodiscard]] pid_t Pid() const { return m_pid; }
    void Signal(int signal) const
    {
        if (m_pid > 0) {  // -1 would be every process
            kill(m_pid, signal);
        }
    }

    /// Finish() would not wait.
    [[nodiscard]] bool HasEnded() const
    {
        siginfo_t info = {};
        waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
        return info.si_pid == m_pid;
    }
    /// Waits for the end; returns the exit code, or -1 after a signal.
    int Finish()
    {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// What it has printed so far.
    [[nodiscard]] std::string Output() const { return Content(m_output); }

private:
    std::string m_output;
    pid_t m_pid = -1;
};

}  // namespace Support
