// The program that runs others on the simulated board: its screenshots, and what it refuses.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/Picture.h"
#include "tests/support/SimulatedBoard.h"

namespace {

namespace fs = std::filesystem;

class Launcher : public testing::Test {
protected:
    void TearDown() override { fs::remove_all(m_path); }

    /// A board with a display of 4 x 2 pixels that runs a program and leaves a screenshot.
    [[nodiscard]] Support::SimulatedBoard Run(const std::vector<std::string>& program) const
    {
        return {SIMBOARD_PROGRAM, {"--screen", "4x2", "--screenshot", m_path}, program};
    }

    std::string m_path = Support::TemporaryPath("screen.png");
};

// Draws the first two of 8 pixels.
const std::string DRAW = R"(printf '\0\0\377\1\126\064\022' >/dev/fb0; )";
const std::vector<std::uint32_t> DRAWN = {0xFFFF0000, 0xFF123456, 0xFF000000, 0xFF000000,
                                          0xFF000000, 0xFF000000, 0xFF000000, 0xFF000000};
const std::vector<std::string> DRAW_AND_WAIT = {"sh", "-c", DRAW + "echo waiting; exec sleep 1000"};

#ifdef __SANITIZE_THREAD__
constexpr bool CANNOT_RUN_SHELL = true;  // ThreadSanitizer's library crashes under a program that was built without it
#else
constexpr bool CANNOT_RUN_SHELL = false;
#endif

TEST_F(Launcher, EndsAsTheProgramDoesAndWritesAScreenshot)
{
    if (CANNOT_RUN_SHELL) {
        GTEST_SKIP() << "a shell cannot run on this build of the simulated board";
    }
    Support::SimulatedBoard drawing = Run({"sh", "-c", DRAW + "exit 5"});
    EXPECT_EQ(drawing.Running().Finish(), 5) << drawing.Running().Output();
    EXPECT_EQ(Support::ReadPng(m_path).pixels, DRAWN);
    Support::SimulatedBoard missing = Run({"/no/such/program"});
    EXPECT_EQ(missing.Running().Finish(), 127);
    EXPECT_EQ(missing.Running().Output(), "simboard: /no/such/program: No such file or directory\n");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fs::remove(m_path);
        Support::SimulatedBoard waiting = Run(DRAW_AND_WAIT);
        EXPECT_TRUE(waiting.Await("waiting"));
        waiting.Running().Signal(signal);
        EXPECT_EQ(waiting.Running().Finish(), 128 + signal);
        EXPECT_EQ(Support::ReadPng(m_path).pixels, DRAWN) << signal;
    }
}

TEST_F(Launcher, FailsWithoutAScreenshot)
{
    if (CANNOT_RUN_SHELL) {
        GTEST_SKIP() << "a shell cannot run on this build of the simulated board";
    }
    Support::SimulatedBoard late = Run(DRAW_AND_WAIT);
    EXPECT_TRUE(late.Await("waiting"));
    fs::remove(m_path);
    fs::create_directory(m_path);
    late.Running().Signal(SIGTERM);
    EXPECT_EQ(late.Running().Finish(), 2);
    EXPECT_EQ(late.Running().Output(), "waiting\nsimboard: " + m_path + ": Is a directory\n");
    Support::SimulatedBoard early = Run(DRAW_AND_WAIT);
    EXPECT_EQ(early.Running().Finish(), 2);
    EXPECT_FALSE(fs::exists(early.Line()));
}

TEST_F(Launcher, RefusesAScreenWithoutASize)
{
    for (const char* const size : {"800", "0x480", "800x8193", "800x480x32", "wide"}) {
        Support::SimulatedBoard board(SIMBOARD_PROGRAM, {"--screen", size}, {"true"});
        EXPECT_EQ(board.Running().Finish(), 2) << size;
    }
}

/// What the launcher says of a program that it does not start.
std::string Refusal(const std::string& program)
{
    Support::SimulatedBoard board(SIMBOARD_PROGRAM, {}, {program});
    EXPECT_EQ(board.Running().Finish(), 126);
    EXPECT_FALSE(fs::exists(board.Line()));
    return board.Running().Output();
}

TEST_F(Launcher, RefusesWhatItCannotPutTheBoardUnder)
{
    const std::string prefix = "simboard: " + m_path + " would run on the PC's own devices: ";
    std::ofstream(m_path) << "#! " SIMBOARD_LIBRARY " -x\n";  // as a static program, it names no loader
    fs::permissions(m_path, fs::perms::owner_all);
    EXPECT_EQ(Refusal(m_path), prefix + SIMBOARD_LIBRARY + " is linked statically\n");
    const std::string path = std::getenv("PATH");
    setenv("PATH", (path + ":" + testing::TempDir()).c_str(), 1);
    EXPECT_NE(Refusal(fs::path(m_path).filename()).find(" is linked statically\n"), std::string::npos);
    setenv("PATH", path.c_str(), 1);
    fs::copy_file(SIMBOARD_PROGRAM, m_path, fs::copy_options::overwrite_existing);
    fs::permissions(m_path, fs::perms::owner_all | fs::perms::set_uid);
    EXPECT_EQ(Refusal(m_path), prefix + "it is setuid, setgid or has file capabilities\n");
    std::fstream(m_path).seekp(18) << "\xFE\xED";  // the processor
    EXPECT_EQ(Refusal(m_path), prefix + "it is built for another processor than the simulated board\n");
}

}  // namespace
