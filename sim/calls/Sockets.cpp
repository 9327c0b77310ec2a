// The libc entry points for sockets that the simulated board takes over.
#include <algorithm>
#include <cstring>

#include <netinet/in.h>
#include <sys/socket.h>

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/calls/Intercept.h"

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    static auto* const next = Sim::Next<int(int, int, int)>("socket");
    return static_cast<int>(Sim::Intercept("socket", -1, type, [&](Sim::Limit /*limit*/) -> long {
        const auto fd = Sim::OpenSocket(domain, type, protocol);
        return fd ? *fd : next(domain, type, protocol);
    }));
}

ssize_t sendto(int fd, const void* message, size_t size, int flags, const sockaddr* address, socklen_t addressSize)
{
    static auto* const next = Sim::Next<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)>("sendto");
    return Sim::Intercept("sendto", fd, static_cast<long>(size), [&](Sim::Limit /*limit*/) -> long {
        sockaddr_in destination = {};
        if (address != nullptr && addressSize == sizeof destination) {
            std::memcpy(&destination, address, sizeof destination);
            if (const auto sent = Sim::SendDatagram(fd, message, size, destination)) {
                return *sent;
            }
        }
        return next(fd, message, size, flags, address, addressSize);
    });
}

ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* address, socklen_t* addressSize)
{
    static auto* const next = Sim::Next<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)>("recvfrom");
    return Sim::Intercept("recvfrom", fd, static_cast<long>(size), [&](Sim::Limit /*limit*/) -> long {
        sockaddr_in source = {};
        const auto received = Sim::ReceiveDatagram(fd, buffer, size, source);
        if (!received) {
            return next(fd, buffer, size, flags, address, addressSize);
        }
        if (*received >= 0 && address != nullptr) {
            std::memcpy(address, &source, std::min<std::size_t>(*addressSize, sizeof source));
            *addressSize = sizeof source;
        }
        return *received;
    });
}

ssize_t __recvfrom_chk(int fd, void* buffer, size_t size, size_t /*room*/, int flags, sockaddr* address,
                       socklen_t* addressSize)
{
    return recvfrom(fd, buffer, size, flags, address, addressSize);
}

}  // extern "C"
