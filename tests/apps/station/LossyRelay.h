// A relay between the station and PostgreSQL that loses what a test tells it to lose.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

/// Listens on a port of 127.0.0.1 and passes one connection after the other on to the server's Unix socket.
class LossyRelay {
public:
    enum class Loss {
        Nothing,
        Commit,        ///< it does not reach the server, and the connection ends
        Answer,        ///< the server has carried it out, and the connection ends
        AnswerSilent,  ///< the server has carried it out, and nothing comes any more
    };

    /// `choose` is asked at each commit, on a thread of its own.
    LossyRelay(const std::string& socket, std::function<Loss()> choose);
    ~LossyRelay();

    /// Of the server's database of that name.
    [[nodiscard]] std::string Url(const std::string& database) const;

private:
    void Serve();
    void Pass(int station);
    bool PassRequest(int station, int server);
    void AwaitHangUp(int station) const;

    const std::string m_socket;
    const std::function<Loss()> m_choose;
    int m_listener;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
