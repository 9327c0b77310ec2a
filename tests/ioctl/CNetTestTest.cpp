// The check of the network: the echo request and its answer, the checksum, and the texts of addresses.
#include "ioctl/CNetTest.h"

#include <cstring>
#include <set>

#include <dlfcn.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/ioctl/Board.h"

namespace {

using Support::TakeTexts;
using Support::Texts;
using Bytes = std::vector<unsigned char>;

timeval g_timeout;  // of the last socket

}  // namespace

/// Keeps the time to wait for an answer for the test, and shortens it.
extern "C" __attribute__((visibility("default"))) int setsockopt(int fd, int level, int option, const void* value,
                                                                 socklen_t size) noexcept
{
    // Where a time has 32 bits by default, this is the C library's other function, for 64 bits.
    constexpr auto NAME = sizeof(long) == sizeof(timeval::tv_sec) ? "setsockopt" : "__setsockopt64";
    static auto* const next = reinterpret_cast<int (*)(int, int, int, const void*, socklen_t)>(dlsym(RTLD_NEXT, NAME));
    if (level != SOL_SOCKET || option != SO_RCVTIMEO || size != sizeof g_timeout) {
        return next(fd, level, option, value, size);
    }
    std::memcpy(&g_timeout, value, size);
    constexpr timeval SHORT = {0, 1000};
    return next(fd, level, option, &SHORT, sizeof SHORT);
}

namespace {

class Net : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        TakeTexts("CNetTest");
    }

    IOCTL::CNetTest m_check;
};

TEST_F(Net, SendsOneEchoRequestAndWaitsForTheAnswer)
{
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), 0);
    ASSERT_EQ(Sim::Datagrams().size(), 1U);
    EXPECT_EQ(Sim::Datagrams()[0].destination, "192.0.2.1");
    Bytes request(28, 0);
    request[0] = 8;
    request[4] = static_cast<unsigned char>(getpid());
    request[5] = static_cast<unsigned char>(getpid() >> 8);
    request[6] = 15;
    const unsigned int checksum = 0xFFFF - (0x0800 + request[4] * 256 + request[5] + 0x0F00) % 0xFFFF;
    request[2] = static_cast<unsigned char>(checksum >> 8);
    request[3] = static_cast<unsigned char>(checksum);
    EXPECT_EQ(Sim::Datagrams()[0].message, request);
    EXPECT_EQ(g_timeout.tv_sec, 1);
    EXPECT_EQ(g_timeout.tv_usec, 500'000);
    const Texts lines = {"[D] [PingTest] IP : 192.0.2.1",
                         "[D] [icmp_checksum] check answer : " + std::to_string(request[2] | request[3] << 8),
                         "[D] [ping] Send To",
                         "[D] [ping] Send To = 28",
                         "[D] [ping] Recv From",
                         "[D] [ping] Recv From = 48",  // the answer behind its IPv4 header
                         "[D] [ping] Ping OK"};
    EXPECT_EQ(TakeTexts("CNetTest"), lines);
}

TEST_F(Net, OnlyAnAnswerFromThatVeryAddressCounts)
{
    EXPECT_EQ(m_check.PingTest("192.168.000.001"), -1) << "the answer comes from 192.168.0.1";
    EXPECT_EQ(Sim::Datagrams().at(0).destination, "192.168.0.1");
    Sim::Break("ping-stranger");
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), -1);
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[D] [ping] Recv From = 48");
    EXPECT_EQ(m_check.PingTest("no address"), -1) << "stands for the broadcast address, which is refused";
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[E] sendto error");
    Sim::Reset();
    Sim::PowerOn();
    Sim::Break("ping-silent");
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), -1);
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[E] recvfrom error");
    EXPECT_EQ(m_check.PingTest(nullptr), -1);
    EXPECT_EQ(TakeTexts("CNetTest"), Texts());
}

struct Vector {
    Bytes bytes;
    int length;
    unsigned short checksum;  // of a little-endian machine
};

TEST_F(Net, TheChecksumAddsNativeWords)
{
    Bytes request = {8, 0, 0, 0, 0x34, 0x12, 0x0F, 0};
    request.resize(28);
    const Vector vectors[] = {{{1, 2, 3}, 3, 0xFDFB},
                              {{1, 2}, -5, 65535},
                              {{0xFF, 0xFF, 0xFF, 0xFF, 1, 0}, 6, 0xFFFE},
                              {request, 28, 0xEDB4},
                              {Bytes(65536, 0xFF), 65536, 0}};
    for (const Vector& vector : vectors) {
        for (const std::size_t offset : {0U, 1U}) {
            Bytes data(offset, 0xFF);
            data.insert(data.end(), vector.bytes.begin(), vector.bytes.end());
            void* const start = data.data() + offset;
            EXPECT_EQ(m_check.icmp_checksum(static_cast<unsigned short*>(start), vector.length), vector.checksum);
        }
    }
    EXPECT_EQ(TakeTexts("CNetTest").front(), "[D] [icmp_checksum] check answer : 65019");
}

TEST_F(Net, TextsStandInARingOfTenThatAllObjectsShare)
{
    EXPECT_STREQ(m_check.Str4IP(0xFFFFFFFF), "255.255.255.255");
    EXPECT_EQ(TakeTexts("CNetTest"), Texts{"[D] [Str4IP] IP : 255.255.255.255"});
    std::vector<char*> texts;
    for (unsigned int i = 0; i < 11; ++i) {
        IOCTL::CNetTest other;
        texts.push_back((i % 2 == 0 ? m_check : other).Str4IP(0x0A000000 + i));
    }
    EXPECT_EQ((std::set<char*>{texts.begin(), texts.end()}).size(), 10U);
    EXPECT_EQ(texts[10], texts[0]);
    EXPECT_STREQ(texts[0], "10.0.0.10") << "overwritten by the eleventh call";
    EXPECT_STREQ(texts[1], "10.0.0.1");
    EXPECT_EQ(std::string(texts[9], 20), "10.0.0.9" + std::string(12, '\0')) << "nothing is left of a longer text";
}

TEST_F(Net, GivesTheAddressOfAnInterface)
{
    std::vector<std::string> names;
    SetAnswer([&](unsigned long code, void* argument) {
        const auto* const request = static_cast<ifreq*>(argument);
        EXPECT_EQ(code, 0x8915U);
        EXPECT_EQ(request->ifr_addr.sa_family, AF_INET);
        names.emplace_back(request->ifr_name);
        return std::nullopt;
    });
    EXPECT_STREQ(m_check.GetIP("lo"), "127.0.0.1");
    EXPECT_EQ(m_check.GetIP("a-name-of-20-letters"), nullptr);
    EXPECT_EQ(TakeTexts("CNetTest"), (Texts{"[D] [Str4IP] IP : 127.0.0.1", "[E] [GetIP] IOCTL error : ER_ADDR"}));
    EXPECT_EQ(m_check.GetIP(nullptr), nullptr);
    EXPECT_EQ(TakeTexts("CNetTest"), Texts{"[E] [GetIP] Interface name is NULL"});
    EXPECT_EQ(names, (std::vector<std::string>{"lo", "a-name-of-20-le"}));
}

}  // namespace
