// The network of the simulated board: raw sockets that answer where the machine's own may not be used or a fault is on.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"

namespace Sim {

namespace {

constexpr std::size_t IP_HEADER_SIZE = 20;

struct RawSocket {
    std::chrono::microseconds timeout = {};
    std::vector<unsigned char> answer;  // with the IPv4 header in front
    in_addr from = {};
};

class NetworkDevice : public Device {
public:
    void Reset() override;
    void Close(int fd) override;

    int OpenRawSocket();
    std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout);
    std::optional<long> Send(int fd, const std::vector<unsigned char>& message, in_addr host);
    std::optional<long> Receive(int fd, void* buffer, std::size_t size, sockaddr_in& source);
    [[nodiscard]] int FinishRequest(unsigned long request, void* argument, int result) const;
    void UseReal();
    std::vector<Datagram> Datagrams();

private:
    // With the mutex held:
    RawSocket* Find(int fd);
    [[nodiscard]] bool IsBroken() const { return m_down || m_silent || m_stranger || m_refused; }
    void Answer(RawSocket& socket, const std::vector<unsigned char>& request, in_addr host) const;

    DeviceFault m_down{*this, "network-down", "there is no route to any host"};
    DeviceFault m_silent{*this, "ping-silent", "no host answers a ping"};
    DeviceFault m_stranger{*this, "ping-stranger", "another host than the one asked answers a ping"};
    DeviceFault m_refused{*this, "ping-refused", "the program may not open a raw socket"};
    DeviceFault m_interfaceMissing{*this, "interface-missing", "the network interface does not exist"};

    std::mutex m_mutex;
    bool m_isReal = false;
    std::map<int, RawSocket> m_sockets;
    std::vector<Datagram> m_datagrams;
};

/// False when not even the machine's loopback interface is up.
bool HasNetwork()
{
    static auto* const ioctl = Next<int(int, unsigned long, ...)>("ioctl");
    static auto* const socket = Next<int(int, int, int)>("socket");
    ifreq request = {};
    std::strcpy(request.ifr_name, "lo");
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const bool isUp = ioctl(fd, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0;
    Real::Close(fd);
    return isUp;
}

void NetworkDevice::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_isReal = false;
    m_sockets.clear();
    m_datagrams.clear();
}

void NetworkDevice::Close(int fd)
{
    const std::lock_guard lock(m_mutex);
    m_sockets.erase(fd);
}

RawSocket* NetworkDevice::Find(int fd)
{
    const auto found = m_sockets.find(fd);
    return found == m_sockets.end() ? nullptr : &found->second;
}

int NetworkDevice::OpenRawSocket()
{
    const std::lock_guard lock(m_mutex);
    if (m_refused) {
        return Fail(EPERM);
    }
    if (m_isReal && !IsBroken() && HasNetwork()) {
        static auto* const next = Next<int(int, int, int)>("socket");
        const int fd = next(AF_INET, SOCK_RAW, IPPROTO_ICMP);
        if (fd >= 0 || (errno != EPERM && errno != EACCES)) {
            return fd;
        }
    }
    const int fd = Real::Open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return Fail(-fd);
    }
    m_sockets[fd] = {};
    return Keep(fd, *this);
}

std::optional<int> NetworkDevice::SetReceiveTimeout(int fd, std::chrono::microseconds timeout)
{
    const std::lock_guard lock(m_mutex);
    RawSocket* const socket = Find(fd);
    if (socket == nullptr) {
        return std::nullopt;
    }
    socket->timeout = timeout;
    return 0;
}

std::optional<long> NetworkDevice::Send(int fd, const std::vector<unsigned char>& message, in_addr host)
{
    const std::lock_guard lock(m_mutex);
    RawSocket* const socket = Find(fd);
    if (socket == nullptr) {
        return std::nullopt;
    }
    if (host.s_addr == INADDR_BROADCAST) {
        return Fail(EACCES);
    }
    if (m_down) {
        return Fail(ENETUNREACH);
    }
    char address[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &host, address, sizeof address);
    m_datagrams.push_back({address, message});
    Answer(*socket, message, host);
    return static_cast<long>(message.size());
}

/// The answer of a host to an echo request: the same message as an echo reply.
void NetworkDevice::Answer(RawSocket& socket, const std::vector<unsigned char>& request, in_addr host) const
{
    if (m_silent || request.empty()) {
        return;
    }
    socket.answer.assign(IP_HEADER_SIZE, 0);
    socket.answer.insert(socket.answer.end(), request.begin(), request.end());
    socket.answer[IP_HEADER_SIZE] = 0;
    socket.from = host;
    if (m_stranger) {
        inet_aton("192.0.2.99", &socket.from);
    }
}

std::optional<long> NetworkDevice::Receive(int fd, void* buffer, std::size_t size, sockaddr_in& source)
{
    std::unique_lock lock(m_mutex);
    RawSocket* const socket = Find(fd);
    if (socket == nullptr) {
        return std::nullopt;
    }
    if (socket->answer.empty()) {
        const auto wait = socket->timeout;
        lock.unlock();
        std::this_thread::sleep_for(wait);
        return Fail(EAGAIN);
    }
    const std::size_t count = std::min(size, socket->answer.size());
    std::memcpy(buffer, socket->answer.data(), count);
    source = {};
    source.sin_family = AF_INET;
    source.sin_addr = socket->from;
    socket->answer.clear();
    return static_cast<long>(count);
}

int NetworkDevice::FinishRequest(unsigned long request, void* argument, int result) const
{
    if (request != SIOCGIFADDR) {
        return result;
    }
    if (m_interfaceMissing) {
        return Fail(ENODEV);
    }
    auto* const interface = static_cast<ifreq*>(argument);
    if (result == 0 || std::strcmp(interface->ifr_name, "lo") != 0 || !IsOn()) {
        return result;
    }
    sockaddr_in address = {};  // a machine without any network
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::memcpy(&interface->ifr_addr, &address, sizeof address);
    return 0;
}

void NetworkDevice::UseReal()
{
    const std::lock_guard lock(m_mutex);
    m_isReal = true;
}

std::vector<Datagram> NetworkDevice::Datagrams()
{
    const std::lock_guard lock(m_mutex);
    return m_datagrams;
}

NetworkDevice& TheNetwork()
{
    static NetworkDevice& network = *new NetworkDevice;  // never destroyed: calls arrive until the process has ended
    return network;
}

}  // namespace

Device& Network()
{
    return TheNetwork();
}

std::optional<int> OpenSocket(int domain, int type, int protocol)
{
    const bool isPing = domain == AF_INET && type == SOCK_RAW && protocol == IPPROTO_ICMP;
    return isPing ? std::optional(TheNetwork().OpenRawSocket()) : std::nullopt;
}

std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout)
{
    return TheNetwork().SetReceiveTimeout(fd, timeout);
}

std::optional<long> SendDatagram(int fd, const void* message, std::size_t size, const sockaddr_in& destination)
{
    const auto* const bytes = static_cast<const unsigned char*>(message);
    return TheNetwork().Send(fd, {bytes, bytes + size}, destination.sin_addr);
}

std::optional<long> ReceiveDatagram(int fd, void* buffer, std::size_t size, sockaddr_in& source)
{
    return TheNetwork().Receive(fd, buffer, size, source);
}

int FinishRequest(unsigned long request, void* argument, int result)
{
    return TheNetwork().FinishRequest(request, argument, result);
}

std::vector<Datagram> Datagrams()
{
    return TheNetwork().Datagrams();
}

void UseRealNetwork()
{
    TheNetwork().UseReal();
}

}  // namespace Sim
