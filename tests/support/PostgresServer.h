// A PostgreSQL server of the test's own: in a temporary folder, behind a Unix socket, gone with the test.
#pragma once

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace Support {

/// For one thread at a time, and one that lives as long as the server: the kernel ends that with the thread.
class PostgresServer {
public:
    /// Of the newest version that Debian's packages have installed; empty for none.
    static std::string Programs()
    {
        std::vector<std::pair<int, std::string>> versions;
        std::error_code none;
        for (const auto& folder : std::filesystem::directory_iterator("/usr/lib/postgresql", none)) {
            if (std::filesystem::exists(folder.path() / "bin/initdb")) {
                versions.emplace_back(std::atoi(folder.path().filename().c_str()), folder.path() / "bin/");
            }
        }
        return versions.empty() ? "" : std::max_element(versions.begin(), versions.end())->second;
    }

    PostgresServer()
    {
        char folder[] = "/tmp/testmode-postgres-XXXXXX";  // a socket's path has at most 107 bytes
        if (mkdtemp(folder) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        m_folder = folder;
        // It ends when the pipe does, which the kernel closes whatever ends the test.
        const std::string guard =
            "exec 3<&0; setsid sh -c 'read -r end <&3; until rm -rf \"$0\"; do sleep 0.1; done' " + m_folder +
            " >/dev/null 2>&1 &";
        m_guard.reset(popen(guard.c_str(), "we"));
        Complete(AsUser(
            {"initdb", "-D", Data(), "-U", "station", "--auth=trust", "--no-sync", "--encoding=UTF8", "--locale=C"}));
        Start();
    }
    ~PostgresServer()
    {
        m_server->Signal(SIGQUIT);
        m_server->Finish();
        std::error_code busy;
        std::filesystem::remove_all(m_folder, busy);
    }
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    /// Returns when it takes connections.
    void Start()
    {
        const auto isReady = [this] {
            return Program({Programs() + "pg_isready", "-q", "-h", m_folder, "-U", "station"}).Finish() == 0;
        };
        const auto start = [this] {
            m_server = std::make_unique<Program>(
                AsUser({"postgres", "-D", Data(), "-k", m_folder, "-c", "listen_addresses=", "-c",
                        "fsync=off"}));  // it survives all but the machine
        };
        start();
        const bool isUp = WaitFor(
            [&] {
                if (m_server->HasEnded()) {  // what a killed one has left is still in use
                    start();
                }
                return isReady();
            },
            std::chrono::seconds(60));
        if (!isUp) {
            throw std::runtime_error("PostgreSQL does not start: " + m_server->Output());
        }
    }
    /// Ends its connections, then itself.
    void Stop()
    {
        m_server->Signal(SIGINT);
        m_server->Finish();
    }
    void Kill() { m_server->Kill(); }

    [[nodiscard]] std::string Socket() const { return m_folder + "/.s.PGSQL.5432"; }
    [[nodiscard]] std::string Url(const std::string& database) const
    {
        return "postgresql://station@/" + database + "?host=" + m_folder;
    }
    /// Makes an empty one; returns its URL.
    std::string NewDatabase()
    {
        const std::string name = "records" + std::to_string(++m_databases);
        Complete({Programs() + "createdb", "-h", m_folder, "-U", "station", name});
        return Url(name);
    }

private:
    struct Close {
        void operator()(FILE* pipe) const { pclose(pipe); }
    };

    [[nodiscard]] std::string Data() const { return m_folder + "/data"; }

    /// PostgreSQL refuses to run as root.
    [[nodiscard]] std::vector<std::string> AsUser(std::vector<std::string> command) const
    {
        std::vector<std::string> words = {"setpriv", "--pdeathsig=QUIT"};
        if (geteuid() == 0) {
            Complete({"chown", "nobody", m_folder});
            words.insert(words.end(), {"--reuid=nobody", "--regid=nogroup", "--clear-groups"});
        }
        command.front() = Programs() + command.front();
        words.insert(words.end(), command.begin(), command.end());
        return words;
    }
    static void Complete(const std::vector<std::string>& command)
    {
        Program program(command);
        if (program.Finish() != 0) {
            throw std::runtime_error(command[0] + " failed: " + program.Output());
        }
    }

    std::string m_folder;
    std::unique_ptr<FILE, Close> m_guard;
    std::unique_ptr<Program> m_server;
    int m_databases = 0;
};

}  // namespace Support
