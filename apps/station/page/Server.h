// The HTTP server of the operator's page.
#pragma once

#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "apps/station/page/Access.h"
#include "apps/station/page/Connection.h"

namespace Station {

/// A request that cannot be granted. The message is a sentence for people.
class RequestError : public std::runtime_error {
public:
    RequestError(int status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    [[nodiscard]] int Status() const { return m_status; }

private:
    int m_status;  ///< of HTTP
};

/// One request a connection, each on a thread of its own, and at most 64 of them: when there are more, the oldest one
/// whose browser keeps it waiting is closed. Serves its own files and what is added; all else that it answers is JSON
/// with a member "error".
class Server : private httplib::Server {
public:
    /// Listens from now on, and answers after Start(). The origins as ParseOrigin() gives them.
    /// @throws std::runtime_error when it cannot listen there
    Server(const ListenAddress& address, const std::vector<std::string>& origins);
    /// Ends all connections.
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // To be called before Start(): the path is a regular expression. A handler may throw RequestError.
    using httplib::Server::Get;
    using httplib::Server::Post;

    void Start();
    /// With the port that was given to it.
    [[nodiscard]] const ListenAddress& Address() const { return m_address; }

private:
    struct Client {
        std::optional<Connection> connection;  ///< until it is over
        std::thread thread;
    };

    void SetUp();
    bool ServeOwn(const httplib::Request& request, httplib::Response& response) const;
    void Accept();
    void Take(int socket);
    void Serve(Client& client);
    void Reap();
    [[nodiscard]] bool IsFull() const;
    void MakeRoom(std::unique_lock<std::mutex>& lock);

    ListenAddress m_address;
    const Descriptor m_socket;
    const Access m_access;
    std::mutex m_mutex;  ///< guards what follows
    std::condition_variable m_onOver;
    std::list<Client> m_clients;  ///< the oldest first
    std::thread m_acceptor;
};

}  // namespace Station
