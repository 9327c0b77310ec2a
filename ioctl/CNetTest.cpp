// The check of the network connection.
#include "ioctl/CNetTest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "common/internal/UniqueFd.h"
#include "ioctl/internal/ClassLogger.h"

namespace IOCTL {

namespace {

static_assert(SIOCGIFADDR == 0x8915, "request of linux/sockios.h");

/// ICMP echo request of RFC 792.
struct EchoRequest {
    std::uint8_t type = 8;
    std::uint8_t code = 0;
    std::uint16_t checksum = 0;
    std::uint16_t identifier = 0;
    std::uint16_t sequence = 15;
    std::uint8_t data[20] = {};
};
static_assert(sizeof(EchoRequest) == 28);

constexpr timeval RECEIVE_TIMEOUT = {1, 500000};
constexpr std::size_t RECEIVE_SIZE = 1024;

// Results of Str4IP; the first one fills slot 1.
std::array<std::array<char, 20>, 10> s_slots = {};
std::size_t s_nSlot = 0;

}  // namespace

CNetTest::CNetTest() : m_logger(ClassLogger("CNetTest")) {}

CNetTest::~CNetTest() = default;

int CNetTest::PingTest(char const* address)
{
    if (address == nullptr) {
        return -1;
    }
    m_logger.WriteDebug("[%s] IP : %s", "PingTest", address);
    return ping(address);
}

int CNetTest::ping(char const* address)
{
    Common::UniqueFd socket(::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP));
    if (!socket.IsValid()) {
        m_logger.WriteError("[%s] socket error", "ping");
        return -1;
    }
    if (setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &RECEIVE_TIMEOUT, sizeof RECEIVE_TIMEOUT) != 0) {
        m_logger.WriteError("[%s] setsocketopt error", "ping");
        return -1;
    }

    EchoRequest request;
    request.identifier = static_cast<std::uint16_t>(getpid());
    unsigned short words[sizeof request / sizeof(unsigned short)];
    std::memcpy(words, &request, sizeof request);
    request.checksum = icmp_checksum(words, sizeof request);

    sockaddr_in destination = {};
    destination.sin_family = AF_INET;
    destination.sin_addr.s_addr = inet_addr(address);

    m_logger.WriteDebug("[%s] Send To", "ping");
    const auto sent = static_cast<int>(sendto(socket.Get(), &request, sizeof request, MSG_DONTWAIT,
                                              reinterpret_cast<const sockaddr*>(&destination), sizeof destination));
    m_logger.WriteDebug("[%s] Send To = %d", "ping", sent);
    if (sent < 0) {
        m_logger.WriteError("sendto error");
        return -1;
    }

    unsigned char answer[RECEIVE_SIZE];
    sockaddr_in source = {};
    socklen_t sourceSize = sizeof source;
    m_logger.WriteDebug("[%s] Recv From", "ping");
    const auto received = static_cast<int>(
        recvfrom(socket.Get(), answer, sizeof answer, 0, reinterpret_cast<sockaddr*>(&source), &sourceSize));
    m_logger.WriteDebug("[%s] Recv From = %d", "ping", received);
    if (received < 0) {
        m_logger.WriteError("recvfrom error");
        return -1;
    }
    if (std::strcmp(inet_ntoa(source.sin_addr), address) != 0) {
        return -1;
    }
    socket.Close();
    m_logger.WriteDebug("[%s] Ping OK", "ping");
    return 0;
}

unsigned short CNetTest::icmp_checksum(unsigned short* data, int length)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    std::int32_t sum = 0;
    for (; length > 1; length -= 2, bytes += 2) {
        std::uint16_t word = 0;
        std::memcpy(&word, bytes, sizeof word);  // the data may be unaligned
        sum += word;
    }
    if (length == 1) {
        std::uint16_t word = 0;
        std::memcpy(&word, bytes, 1);
        sum += word;
    }
    sum = (sum >> 16) + (sum & 0xFFFF);
    sum += sum >> 16;
    const auto checksum = static_cast<unsigned short>(~sum & 0xFFFF);
    m_logger.WriteDebug("[%s] check answer : %d", "icmp_checksum", checksum);
    return checksum;
}

char* CNetTest::GetIP(char const* name)
{
    if (name == nullptr) {
        m_logger.WriteError("[%s] Interface name is NULL", "GetIP");
        return nullptr;
    }
    Common::UniqueFd socket(::socket(AF_INET, SOCK_DGRAM, 0));
    if (!socket.IsValid()) {
        m_logger.WriteError("[%s] Socket Open error : ER_SOCKET", "GetIP");
        return nullptr;
    }
    ifreq request = {};
    std::copy_n(name, strnlen(name, IFNAMSIZ - 1), request.ifr_name);
    request.ifr_addr.sa_family = AF_INET;
    const int result = ioctl(socket.Get(), SIOCGIFADDR, &request);
    socket.Close();
    if (result < 0) {
        m_logger.WriteError("[%s] IOCTL error : ER_ADDR", "GetIP");
        return nullptr;
    }
    sockaddr_in address = {};
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    return Str4IP(ntohl(address.sin_addr.s_addr));
}

char* CNetTest::Str4IP(unsigned int address)
{
    s_nSlot = (s_nSlot + 1) % s_slots.size();
    auto& slot = s_slots[s_nSlot];
    slot.fill('\0');
    std::snprintf(slot.data(), slot.size(), "%s", inet_ntoa({htonl(address)}));
    m_logger.WriteDebug("[%s] IP : %s", "Str4IP", slot.data());
    return slot.data();
}

}  // namespace IOCTL
