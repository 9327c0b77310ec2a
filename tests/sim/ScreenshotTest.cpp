// The launcher's screenshots, and the program that it then runs as its child.
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <png.h>

#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace {

using Bytes = std::vector<unsigned char>;

class Screenshot : public testing::Test {
protected:
    void TearDown() override
    {
        std::filesystem::remove_all(m_board);
        std::filesystem::remove_all(m_picture);
    }

    /// A board with a display of 4 x 2 pixels that runs a program.
    [[nodiscard]] Support::Program Run(std::vector<std::string> program) const
    {
        std::vector<std::string> command = {SIMBOARD_PROGRAM, "--dir",   m_board, "--screen", "4x2",
                                            "--screenshot",   m_picture, "--"};
        command.insert(command.end(), program.begin(), program.end());
        return Support::Program(command);
    }

    static void AwaitDrawing(const Support::Program& simboard)
    {
        EXPECT_TRUE(Support::WaitFor([&] { return simboard.Output().find("waiting") != std::string::npos; }));
    }

    /// The picture's colours: red, green and blue of each pixel. Empty when it is no picture of 4 x 2 pixels.
    [[nodiscard]] Bytes Colours() const
    {
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        Bytes colours;
        if (png_image_begin_read_from_file(&image, m_picture.c_str()) != 0 && image.width == 4 && image.height == 2) {
            EXPECT_EQ(image.format, PNG_FORMAT_RGB);
            colours.resize(std::size_t{4} * 2 * 3);
            png_image_finish_read(&image, nullptr, colours.data(), 0, nullptr);
        }
        png_image_free(&image);
        return colours;
    }

    std::string m_board = Support::TemporaryPath("board");
    std::string m_picture = Support::TemporaryPath("screen.png");
};

const Bytes DRAWN = {0xFF, 0, 0, 0, 0xFF, 0, 0x12, 0x34, 0x56, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

TEST_F(Screenshot, ShowsWhatTheProgramLeftOnTheDisplay)
{
    Support::Program drawing = Run({SCREEN_PROBE, "5"});
    EXPECT_EQ(drawing.Finish(), 5) << drawing.Output();
    EXPECT_EQ(Colours(), DRAWN);
    Support::Program missing = Run({"/no/such/program"});
    EXPECT_EQ(missing.Finish(), 127);
    EXPECT_EQ(missing.Output(), "simboard: /no/such/program: No such file or directory\n");
    EXPECT_EQ(Colours(), Bytes(DRAWN.size(), 0));
}

TEST_F(Screenshot, IsWrittenWhenASignalEndsTheProgram)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::filesystem::remove(m_picture);
        Support::Program simboard = Run({SCREEN_PROBE, "wait"});
        AwaitDrawing(simboard);
        simboard.Signal(signal);
        EXPECT_EQ(simboard.Finish(), 128 + signal) << simboard.Output();
        EXPECT_EQ(Colours(), DRAWN) << signal;
    }
}

TEST_F(Screenshot, IsRefusedBeforeTheProgramIsStarted)
{
    m_picture += "/not/there.png";
    Support::Program simboard = Run({SCREEN_PROBE, "wait"});
    EXPECT_EQ(simboard.Finish(), 2);
    EXPECT_EQ(simboard.Output(), "simboard: " + m_picture + ": No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(m_board));
}

TEST_F(Screenshot, IsMissedWhenItCannotBeWrittenAfterAll)
{
    Support::Program simboard = Run({SCREEN_PROBE, "wait"});
    AwaitDrawing(simboard);
    std::filesystem::remove(m_picture);
    std::filesystem::create_directory(m_picture);
    simboard.Signal(SIGTERM);
    EXPECT_EQ(simboard.Finish(), 2);
    EXPECT_EQ(simboard.Output(), "waiting\nsimboard: " + m_picture + ": Is a directory\n");
}

TEST_F(Screenshot, NeedsAScreenThatHasASize)
{
    for (const char* const size : {"800", "0x480", "800x8193", "800x480x32", "wide"}) {
        Support::Program simboard({SIMBOARD_PROGRAM, "--screen", size, "--", SCREEN_PROBE, "0"});
        EXPECT_EQ(simboard.Finish(), 2) << size;
        EXPECT_EQ(simboard.Output(), "--screen: " + std::string(size) +
                                         " is no size: give WIDTHxHEIGHT, each 1 to 8192\n"
                                         "Run with --help for more information.\n");
    }
}

}  // namespace
