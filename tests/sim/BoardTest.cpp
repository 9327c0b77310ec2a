// Faults of the simulated board that the product's own tests do not notice.
#include "sim/Board.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/SimBoard.h"
#include "tests/support/Program.h"

namespace {

class Board : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        Sim::PowerOn();
    }
    void TearDown() override { Sim::Reset(); }
};

TEST_F(Board, RefusesUnknownNames)
{
    EXPECT_THROW(Sim::Break("rtc-mising"), std::invalid_argument);
    EXPECT_THROW(Sim::Fault::Fails("opne", EIO), std::invalid_argument);
    EXPECT_THROW(Sim::Inject(Sim::Fault()), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(Sim::Recording().Calls("opne")), std::invalid_argument);
    EXPECT_THROW(Sim::SetScreenSize(0, 200), std::invalid_argument);
    EXPECT_THROW(Sim::SetScreenSize(320, 8193), std::invalid_argument);
}

TEST_F(Board, HasNodesThatCanBeLookedAtButNotRemoved)
{
    struct stat status = {};
    setenv("TSLIB_TSDEVICE", "/dev/input/event77", 1);
    for (const char* const path : {"/dev/fb0", "/dev/rtc0", "/dev/ttyS1", "/dev/input/event77"}) {
        EXPECT_TRUE(stat(path, &status) == 0 && S_ISCHR(status.st_mode)) << path;
        EXPECT_TRUE(std::filesystem::is_character_file(path)) << path;
    }
    unsetenv("TSLIB_TSDEVICE");
    EXPECT_EQ(unlink("/dev/rtc0"), -1);
    EXPECT_EQ(errno, EPERM);
    Sim::Break("rtc-missing");
    EXPECT_EQ(access("/dev/rtc0", F_OK), -1);
    EXPECT_EQ(stat("/dev/ttyS0", &status), -1);  // nobody has made it
}

TEST_F(Board, ForgetsADescriptorThatAStreamHasClosed)
{
    std::FILE* const clock = std::fopen("/dev/rtc0", "r");
    const int fd = fileno(clock);
    std::fclose(clock);
    ASSERT_EQ(open("/dev/null", O_RDONLY), fd);
    EXPECT_EQ(Sim::FindDevice(fd), nullptr);
    close(fd);
}

class UsbDisk : public Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        std::filesystem::create_directories(m_folder + "/usb");
        std::filesystem::create_directories(m_folder + "/root/mnt/usb");
        Sim::UseFolder(m_folder);
    }
    void TearDown() override
    {
        Board::TearDown();
        std::filesystem::remove_all(m_folder);
    }

    /// True when the file took the text.
    static bool Write(const std::string& path, const std::string& text)
    {
        return static_cast<bool>(std::ofstream(path) << text << std::flush);
    }

    std::string m_folder = Support::TemporaryPath("board");
};

TEST_F(UsbDisk, HasFilesAndFaultsWhileItIsMounted)
{
    const std::string path = "/mnt/usb/file";
    std::error_code error;
    EXPECT_TRUE(Write(path, "root"));
    ASSERT_EQ(mount("/dev/sda", "/mnt/usb", "vfat", 0, nullptr), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(Write(path, "on the disk"));
    EXPECT_EQ(Support::Content(m_folder + "/usb/file"), "on the disk");
    EXPECT_EQ(std::filesystem::file_size(path), 11U);
    EXPECT_EQ(std::filesystem::weakly_canonical("/mnt/usb/../usb/./file"), path);
    for (const char* const fault : {"disk-full", "disk-read-only", "disk-corrupt"}) {
        Sim::Break(fault);
    }
    EXPECT_FALSE(Write(path, "refused"));
    EXPECT_FALSE(std::filesystem::remove(path, error));
    ASSERT_EQ(umount("/mnt/usb"), 0);
    EXPECT_EQ(Support::Content(path), "root");
    EXPECT_TRUE(Write(path, "more"));
    EXPECT_TRUE(std::filesystem::remove(path));
    EXPECT_FALSE(std::filesystem::exists(m_folder + "/root/mnt/usb/file"));
}

}  // namespace
