// The checksums.
#include "common/CChecksum.h"

#include <vector>

#include <gtest/gtest.h>

using Common::Convertor::CChecksum;

TEST(Checksum8, IsTheXorOfAllBytes)
{
    const std::vector<unsigned char> bytes = {0x5A, 0x01, 0x02, 0x10, 0x20};
    EXPECT_EQ(CChecksum::Checksum8(bytes.data(), 5), 0x69);
    EXPECT_EQ(CChecksum::Checksum8(bytes.data(), 1), 0x5A);
    EXPECT_EQ(CChecksum::Checksum8(bytes.data(), 0), 0);
    EXPECT_EQ(CChecksum::Checksum8(nullptr, 5), 0);
    std::vector<unsigned char> large(4097, 0xA5);
    large[4095] = 0x11;
    EXPECT_EQ(CChecksum::Checksum8(large.data(), 4096), 0xA5 ^ 0x11);
    EXPECT_EQ(CChecksum::Checksum8(large.data() + 1, 4096), 0xA5 ^ 0x11) << "unaligned block";
}

TEST(Checksum16, IsAConstant)
{
    const unsigned char byte = 1;
    EXPECT_EQ(CChecksum::Checksum16(&byte, 1), 255);
    EXPECT_EQ(CChecksum::Checksum16(nullptr, 0), 255);
}
