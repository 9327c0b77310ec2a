// The checksums, on the blocks that the frame format names.
#include "common/CChecksum.h"

#include <vector>

#include <gtest/gtest.h>

#include "uart/UARTFrame.h"

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

TEST(BuildFrame, LaysTheErrorFrameOut)
{
    const std::vector<unsigned char> data(UART::UART_BODY_LEN, 0xFF);
    std::vector<unsigned char> frame(UART::UART_FRAME_LEN);
    EXPECT_EQ(UART::BuildFrame(frame.data(), 1, UART::CMD_ERROR, data.data(), UART::UART_BODY_LEN), 31);
    std::vector<unsigned char> expected(31, 0xFF);
    expected[0] = 0x5A;
    expected[1] = 1;
    expected[29] = 0xA4;
    expected[30] = 3;
    EXPECT_EQ(frame, expected);
}
