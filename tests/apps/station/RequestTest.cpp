// What a person may type for `send`.
#include "apps/station/Request.h"

#include <stdexcept>

#include <gtest/gtest.h>

using namespace Station;

TEST(RequestTest, CommandByNameOrNumber)
{
    for (const char* word : {"CMD_TOUCH_TEST", "Touch_Test", "10", "0x0A", "0X0a"}) {
        EXPECT_EQ(ParseCommand(word), 10) << word;
    }
    for (const char* word : {"", "touch", "256", "-1", "0x", "1.5"}) {
        EXPECT_THROW(ParseCommand(word), std::invalid_argument) << word;
    }
}

TEST(RequestTest, DataFromNumbersAndText)
{
    EXPECT_EQ(ParseData({"0", "255", "0x7f", "007", "1.0"}), (Bytes{0, 255, 0x7F, 7, '1', '.', '0'}));
    EXPECT_EQ(ParseData({"text:12", "0xZZ", "text:"}), (Bytes{'1', '2', '0', 'x', 'Z', 'Z'}));
    EXPECT_EQ(ParseData({"text:" + std::string(26, 'a')}), Bytes(26, 'a'));
    EXPECT_THROW(ParseData({"0x100"}), std::invalid_argument);
    EXPECT_THROW(ParseData({"1", std::string(26, 'a')}), std::invalid_argument);
}
