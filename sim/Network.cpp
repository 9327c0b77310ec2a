// The network of the simulated board: a raw socket that answers where the machine's own may not be used or a fault is
// on.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"

namespace Sim {

namespace {

constexpr std::size_t IP_HEADER_SIZE = 20;

struct RawSocket {
    std::chrono::microseconds timeout = {};
    std::vector<unsigned char> answer;  // with the IPv4 header in front
    in_addr from = {};
};

struct State {
    bool isReal = false;
    std::map<int, RawSocket> sockets;
    std::vector<Datagram> datagrams;
};

std::mutex g_mutex;

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

bool IsNetworkBroken()
{
    return HasFault("network-down") || HasFault("ping-silent") || HasFault("ping-stranger") || HasFault("ping-refused");
}

/// The answer of a host to an echo request: the same message as an echo reply.
void Answer(RawSocket& socket, const std::vector<unsigned char>& request, in_addr host)
{
    if (HasFault("ping-silent") || request.empty()) {
        return;
    }
    socket.answer.assign(IP_HEADER_SIZE, 0);
    socket.answer.insert(socket.answer.end(), request.begin(), request.end());
    socket.answer[IP_HEADER_SIZE] = 0;
    socket.from = host;
    if (HasFault("ping-stranger")) {
        inet_aton("192.0.2.99", &socket.from);
    }
}

/// False on a machine that has not even its own loopback interface up.
bool HasNetwork()
{
    static auto* const ioctl = Next<int(int, unsigned long, ...)>("ioctl");
    static auto* const socket = Next<int(int, int, int)>("socket");
    static auto* const close = Next<int(int)>("close");
    ifreq request = {};
    std::strcpy(request.ifr_name, "lo");
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const bool isUp = ioctl(fd, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0;
    close(fd);
    return isUp;
}

RawSocket* Find(int fd)
{
    const auto found = TheState().sockets.find(fd);
    return found == TheState().sockets.end() ? nullptr : &found->second;
}

}  // namespace

int OpenRawSocket()
{
    const std::lock_guard lock(g_mutex);
    if (HasFault("ping-refused")) {
        return Fail(EPERM);
    }
    if (TheState().isReal && !IsNetworkBroken() && HasNetwork()) {
        static auto* const next = Next<int(int, int, int)>("socket");
        const int fd = next(AF_INET, SOCK_RAW, IPPROTO_ICMP);
        if (fd >= 0 || (errno != EPERM && errno != EACCES)) {
            return fd;
        }
    }
    static auto* const open = Next<int(const char*, int, ...)>("open");
    const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd >= 0) {
        TheState().sockets[fd] = {};
    }
    return fd;
}

std::optional<int> SetReceiveTimeout(int fd, std::chrono::microseconds timeout)
{
    const std::lock_guard lock(g_mutex);
    RawSocket* const socket = Find(fd);
    if (socket == nullptr) {
        return std::nullopt;
    }
    socket->timeout = timeout;
    return 0;
}

std::optional<long> SendDatagram(int fd, const void* message, std::size_t size, const sockaddr_in& destination)
{
    const std::lock_guard lock(g_mutex);
    RawSocket* const socket = Find(fd);
    if (socket == nullptr) {
        return std::nullopt;
    }
    if (destination.sin_addr.s_addr == INADDR_BROADCAST) {
        return Fail(EACCES);
    }
    if (HasFault("network-down")) {
        return Fail(ENETUNREACH);
    }
    const auto* const bytes = static_cast<const unsigned char*>(message);
    const std::vector<unsigned char> sent(bytes, bytes + size);
    char address[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &destination.sin_addr, address, sizeof address);
    TheState().datagrams.push_back({address, sent});
    Answer(*socket, sent, destination.sin_addr);
    return static_cast<long>(size);
}

std::optional<long> ReceiveDatagram(int fd, void* buffer, std::size_t size, sockaddr_in& source)
{
    std::unique_lock lock(g_mutex);
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

int RequestAddress(unsigned long request, void* argument, int realResult)
{
    if (request != SIOCGIFADDR) {
        return realResult;
    }
    if (HasFault("interface-missing")) {
        return Fail(ENODEV);
    }
    auto* const interface = static_cast<ifreq*>(argument);
    if (realResult == 0 || std::strcmp(interface->ifr_name, "lo") != 0 || !IsOn()) {
        return realResult;
    }
    sockaddr_in address = {};  // a machine without any network
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::memcpy(&interface->ifr_addr, &address, sizeof address);
    return 0;
}

void ForgetSocket(int fd)
{
    const std::lock_guard lock(g_mutex);
    TheState().sockets.erase(fd);
}

void ResetNetwork()
{
    const std::lock_guard lock(g_mutex);
    TheState() = {};
}

std::vector<Datagram> Datagrams()
{
    const std::lock_guard lock(g_mutex);
    return TheState().datagrams;
}

void UseRealNetwork()
{
    const std::lock_guard lock(g_mutex);
    TheState().isReal = true;
}

}  // namespace Sim
