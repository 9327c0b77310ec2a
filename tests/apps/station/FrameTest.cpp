// Finding replies among noise and damage.
#include "apps/station/line/Frame.h"

#include <gtest/gtest.h>

using namespace Station;

namespace {

constexpr unsigned char COMMAND = UART::CMD_GPI_TEST;

/// Holds what might be taken for the beginning or the end of a frame.
Bytes GoodReply()
{
    return MakeFrame(1, COMMAND, {0, 0x5A, 0x01, COMMAND, 0x03});
}

}  // namespace

TEST(FrameTest, LaysOutAndTellsErrorFrameFromConfirmation)
{
    EXPECT_EQ(Hex(MakeFrame(1, 2, {0x10, 0x20})),
              "5A 01 02 10 20 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 69 03");
    EXPECT_EQ(Hex(MakeErrorFrame(1)),
              "5A 01 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF A4 03");
    EXPECT_TRUE(IsErrorFrame(MakeErrorFrame(5)));
    EXPECT_FALSE(IsErrorFrame(MakeFrame(5, UART::CMD_CONFIRM_TEST_MODE, {0})));
    EXPECT_FALSE(IsErrorFrame(MakeFrame(5, COMMAND, Bytes(26, 0xFF))));
}

TEST(FrameTest, FindsFrameBehindNoiseHoweverItIsCut)
{
    const Bytes reply = GoodReply();
    const Bytes noise = {0x5A, 0x01, 0x5A, 0x03, 0x5A};
    Bytes stream = noise;
    stream.insert(stream.end(), reply.begin(), reply.end());
    stream.push_back(0x77);
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(cut);
        FrameScanner scanner(1, COMMAND);
        scanner.Add({stream.begin(), middle});
        std::optional<Bytes> frame = scanner.Next();
        scanner.Add({middle, stream.end()});
        frame = frame ? frame : scanner.Next();
        EXPECT_EQ(frame, reply) << "cut at " << cut;
        EXPECT_EQ(scanner.TakeNoise(), noise) << "cut at " << cut;
        EXPECT_EQ(scanner.TakeRest(), Bytes{0x77}) << "cut at " << cut;
    }
}

TEST(FrameTest, RefusesAndRecognisesDamagedReplyButNotNoise)
{
    std::vector<Bytes> damaged(31, GoodReply());
    for (std::size_t position = 0; position < damaged.size(); ++position) {
        damaged[position][position] ^= 0x10;
    }
    damaged.push_back(GoodReply());
    damaged.back().resize(20);
    damaged.push_back(MakeErrorFrame(1));
    damaged.back().resize(3);
    damaged.emplace_back(100, 0x5A);
    for (std::size_t i = 0; i < damaged.size(); ++i) {
        FrameScanner scanner(1, COMMAND);
        scanner.Add(damaged[i]);
        EXPECT_EQ(scanner.Next(), std::nullopt) << Hex(damaged[i]);
        EXPECT_EQ(scanner.SawDamagedReply(), i + 1 < damaged.size()) << Hex(damaged[i]);
    }
}
