// The check of the network: the echo request and its answer, the checksum, and the texts of addresses.
#include "ioctl/CNetTest.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <set>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <unistd.h>

#include "tests/ioctl/Board.h"

namespace {

using IOCTL::CNetTest;
using Support::TakeTexts;
using Support::Texts;
using Bytes = std::vector<unsigned char>;

class Net : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        TakeTexts("CNetTest");
    }

    /// The checksum that the bytes need for their 16-bit words, high byte first, to add up to 0xFFFF.
    static unsigned int WireChecksum(const Bytes& bytes)
    {
        unsigned int sum = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            sum += i % 2 == 0 ? bytes[i] * 256U : bytes[i];
        }
        return 0xFFFF - sum % 0xFFFF;
    }

    CNetTest m_check;
};

TEST_F(Net, SendsOneEchoRequest)
{
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), 0);
    ASSERT_EQ(Sim::Datagrams().size(), 1U);
    EXPECT_EQ(Sim::Datagrams()[0].destination, "192.0.2.1");
    Bytes request(28, 0);
    request[0] = 8;
    request[4] = static_cast<unsigned char>(getpid());
    request[5] = static_cast<unsigned char>(getpid() >> 8);
    request[6] = 15;
    const unsigned int checksum = WireChecksum(request);
    request[2] = static_cast<unsigned char>(checksum >> 8);
    request[3] = static_cast<unsigned char>(checksum);
    EXPECT_EQ(Sim::Datagrams()[0].message, request);

    const Texts texts = TakeTexts("CNetTest");
    ASSERT_EQ(texts.size(), 7U);
    EXPECT_EQ(texts[0], "[D] [PingTest] IP : 192.0.2.1");
    EXPECT_EQ(texts[1], "[D] [icmp_checksum] check answer : " + std::to_string(request[2] | request[3] << 8));
    EXPECT_EQ(texts[2], "[D] [ping] Send To");
    EXPECT_EQ(texts[3], "[D] [ping] Send To = 28");
    EXPECT_EQ(texts[4], "[D] [ping] Recv From");
    EXPECT_EQ(texts[5], "[D] [ping] Recv From = 48") << "the answer behind its IPv4 header";
    EXPECT_EQ(texts[6], "[D] [ping] Ping OK");
}

TEST_F(Net, AnAnswerFromAnotherTextFailsWithoutALine)
{
    EXPECT_EQ(m_check.PingTest("192.168.000.001"), -1) << "the answer comes from 192.168.0.1";
    EXPECT_EQ(Sim::Datagrams().at(0).destination, "192.168.0.1");
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[D] [ping] Recv From = 48");
    Sim::Break("ping-stranger");
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), -1);
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[D] [ping] Recv From = 48");
    EXPECT_EQ(m_check.ping("no address"), -1) << "stands for the broadcast address, which is refused";
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[E] sendto error");
}

TEST_F(Net, SilenceEndsAfterASecondAndAHalf)
{
    Sim::Break("ping-silent");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_check.PingTest("192.0.2.1"), -1);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(1500));
    EXPECT_LE(took, std::chrono::milliseconds(1650));
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[E] recvfrom error");
}

TEST_F(Net, ANullAddressFailsSilently)
{
    const Sim::Recording recording;
    EXPECT_EQ(m_check.PingTest(nullptr), -1);
    EXPECT_TRUE(recording.Calls().empty());
    EXPECT_EQ(TakeTexts("CNetTest"), Texts());
}

struct Vector {
    Bytes bytes;
    int length;
    unsigned short checksum;  // of a little-endian machine
};

class NetChecksum : public Net, public testing::WithParamInterface<Vector> {};

TEST_P(NetChecksum, AddsNativeWords)
{
    const Vector& vector = GetParam();
    for (const std::size_t offset : {0U, 1U}) {
        Bytes data(offset, 0xFF);
        data.insert(data.end(), vector.bytes.begin(), vector.bytes.end());
        void* const start = data.data() + offset;
        EXPECT_EQ(m_check.icmp_checksum(static_cast<unsigned short*>(start), vector.length), vector.checksum);
        EXPECT_EQ(TakeTexts("CNetTest"),
                  Texts{"[D] [icmp_checksum] check answer : " + std::to_string(vector.checksum)});
    }
}

Bytes Request1234()
{
    Bytes request(28, 0);
    const Bytes head = {8, 0, 0, 0, 0x34, 0x12, 0x0F, 0};
    std::copy(head.begin(), head.end(), request.begin());
    return request;
}

INSTANTIATE_TEST_SUITE_P(Vectors, NetChecksum,
                         testing::Values(Vector{{1, 2, 3}, 3, 0xFDFB}, Vector{{1, 2, 3}, 2, 0xFDFE},
                                         Vector{{0xFF}, 1, 0xFF00}, Vector{{1, 2}, 0, 65535}, Vector{{1, 2}, -5, 65535},
                                         Vector{{0xFF, 0xFF, 0xFF, 0xFF, 1, 0}, 6, 0xFFFE},
                                         Vector{Request1234(), 28, 0xEDB4}, Vector{Bytes(65536, 0xFF), 65536, 0}));

TEST_F(Net, TextsStandInARingOfTenThatAllObjectsShare)
{
    std::vector<char*> texts;
    for (unsigned int i = 0; i < 11; ++i) {
        CNetTest other;
        texts.push_back((i % 2 == 0 ? m_check : other).Str4IP(0xC0A80000 + i));
    }
    EXPECT_EQ((std::set<char*>{texts.begin(), texts.end()}).size(), 10U);
    EXPECT_EQ(texts[10], texts[0]);
    EXPECT_STREQ(texts[0], "192.168.0.10") << "overwritten by the eleventh call";
    EXPECT_STREQ(texts[1], "192.168.0.1");
    EXPECT_STREQ(texts[9], "192.168.0.9");
    EXPECT_STREQ(m_check.Str4IP(0xFFFFFFFF), "255.255.255.255");
    EXPECT_EQ(TakeTexts("CNetTest").back(), "[D] [Str4IP] IP : 255.255.255.255");
}

TEST(NetRing, StartsWithItsSecondSlot)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // a new process, whose ring is fresh
    const auto start = [] {
        CNetTest check;
        const char* const second = check.Str4IP(0);
        std::vector<const char*> texts(9);
        std::generate(texts.begin(), texts.end(), [&] { return check.Str4IP(0); });
        std::exit(texts[7] == second + 160 && texts[8] == second - 20 ? 0 : 1);
    };
    EXPECT_EXIT(start(), testing::ExitedWithCode(0), "");
}

TEST_F(Net, GivesTheAddressesOfTheMachine)
{
    ifaddrs* all = nullptr;
    ASSERT_EQ(getifaddrs(&all), 0);
    std::set<std::string> seen;  // of several addresses the first counts
    for (const ifaddrs* entry = all; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            !seen.insert(entry->ifa_name).second) {
            continue;
        }
        sockaddr_in address = {};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        EXPECT_STREQ(m_check.GetIP(entry->ifa_name), inet_ntoa(address.sin_addr));
    }
    freeifaddrs(all);
    if (seen.empty()) {
        GTEST_SKIP() << "this machine has no IPv4 address";
    }
}

TEST_F(Net, AnInterfaceWithoutAddressGivesNull)
{
    const Sim::Recording recording;
    for (const char* const name : {"none0", "", "a-name-of-20-letters"}) {
        EXPECT_EQ(m_check.GetIP(name), nullptr);
        EXPECT_EQ(TakeTexts("CNetTest"), Texts{"[E] [GetIP] IOCTL error : ER_ADDR"});
    }
    EXPECT_EQ(recording.Calls("ioctl").at(0).argument, 0x8915);
    EXPECT_EQ(recording.Calls("close").size(), 3U);
    EXPECT_EQ(m_check.GetIP(nullptr), nullptr);
    EXPECT_EQ(recording.Calls("socket").size(), 3U) << "null is refused before";
}

}  // namespace
