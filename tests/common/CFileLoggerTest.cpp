// The logger, as its lines reach the system log.
#include "common/CFileLogger.h"

#include <cerrno>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include "tests/support/Log.h"

namespace {

using Common::Logger::CFileLogger;
using Support::TakeTexts;
using Support::Texts;

class FileLogger : public testing::Test {
protected:
    void SetUp() override { Sim::Reset(); }
};

TEST_F(FileLogger, OpensAndClosesTheLogAroundEveryLine)
{
    CFileLogger logger("");
    logger.WriteDebug("a %d", 1);
    logger.SetIdentity("CFBLib");
    logger.WriteWarning("b %s\n", "two");
    logger.SetIdentity("");
    logger.WriteError("c 100%%");
    CFileLogger("CUARTTest-Thread").WriteDebug("d");
    EXPECT_FALSE(Sim::IsLogOpen());
    Texts texts;
    for (const Sim::LogLine& line : Sim::TakeLog()) {
        texts.push_back(line.identity + line.text);
        EXPECT_EQ(line.options, LOG_CONS | LOG_NDELAY);
        EXPECT_EQ(line.facility, LOG_USER);
        EXPECT_EQ(line.priority, LOG_DEBUG);
    }
    EXPECT_EQ(texts, (Texts{"[FileLogger][D] a 1", "[CFBLib][W] b two\n", "[FileLogger][E] c 100%",
                            "[CUARTTest-Thread][D] d"}));
}

TEST_F(FileLogger, CutsALineAt4095Characters)
{
    CFileLogger logger("x");
    logger.WriteError("%s", std::string(4091, 'y').c_str());
    logger.WriteError("%s", std::string(5000, 'y').c_str());
    EXPECT_EQ(TakeTexts(), std::vector<std::string>(2, "[E] " + std::string(4091, 'y')));
}

TEST_F(FileLogger, LeavesErrnoAlone)
{
    CFileLogger logger("x");
    errno = EAGAIN;
    Sim::LogToFile("/nonexistent/log");  // opening it fails
    logger.WriteDebug("line");
    Sim::LogToFile("");
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(FileLogger, DumpsBytesInRows)
{
    unsigned char data[32];
    for (unsigned char i = 0; i < sizeof data; ++i) {
        data[i] = static_cast<unsigned char>(0xF0 + i);
    }
    const std::string row = "F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF\n";
    const struct {
        int length;
        const char* title;
        Texts rows;
    } dumps[] = {{3, "Send Packet : ", {"[D] Send Packet : F0F1F2\n"}},
                 {16, "t ", {"[D] t " + row}},
                 {17, "t ", {"[D] t " + row, "[D] t 00\n"}},
                 {32, "", {"[D] " + row, "[D] 000102030405060708090A0B0C0D0E0F\n"}},
                 {2, nullptr, {"[D] F0F1\n"}},
                 {0, "empty", {"[D] empty\n"}},
                 {0, nullptr, {"[D] \n"}},
                 {-1, "none", {}}};
    for (const auto& [length, title, rows] : dumps) {
        CFileLogger("x").WriteInfo(data, length, title);
        EXPECT_EQ(TakeTexts(), rows) << length << " bytes";
    }
}

TEST_F(FileLogger, DumpWithAnOverlongTitleStaysInItsBuffer)
{
    unsigned char data[16] = {};
    CFileLogger("x").WriteInfo(data, sizeof data, std::string(9000, 't').c_str());
    EXPECT_EQ(TakeTexts(), std::vector<std::string>{"[D] " + std::string(4062, 't') + std::string(29, '0')});
}

TEST_F(FileLogger, NoLineAppearsUnderAnotherIdentity)
{
    constexpr int LINES = 300;
    std::vector<std::thread> threads;
    for (const char* const name : {"one", "two", "three", "four"}) {
        threads.emplace_back([name] {
            CFileLogger logger(name);
            for (int i = 0; i < LINES; ++i) {
                logger.WriteDebug("[%s]", name);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto lines = Sim::TakeLog();
    EXPECT_EQ(lines.size(), 4U * LINES);
    for (const Sim::LogLine& line : lines) {
        ASSERT_EQ("[D] " + line.identity, line.text);
    }
}

}  // namespace
