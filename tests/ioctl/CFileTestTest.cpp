// The check of the USB host port: mounting a disk, and verifying a file.
#include "ioctl/CFileTest.h"

#include <cstdio>

#include "tests/ioctl/Board.h"
#include "tests/support/Program.h"

namespace {

using IOCTL::CFileTest;
using Sim::Disk;
using Support::TakeTexts;
using Support::Texts;

const std::string UNMOUNT = "umount2 /mnt/usb 0";

std::string Mount(const std::string& device)
{
    return "mount " + device + " /mnt/usb vfat 0";
}

struct MountCase {
    const char* name;
    int index;
    Disk disk;
    int result;
    Texts calls;
};

class Mounting : public Support::Board, public testing::WithParamInterface<MountCase> {};

TEST_P(Mounting, TriesTheWholeDiskThenItsPartitionAndUnmounts)
{
    const MountCase& parameter = GetParam();
    if (parameter.index >= 0 && parameter.index <= 2) {
        Sim::PlugIn(parameter.index, parameter.disk);
    }
    CFileTest check;
    TakeTexts("CFileTest");
    const Sim::Recording recording;
    EXPECT_EQ(check.MountUSB(parameter.index), parameter.result);
    EXPECT_EQ(Support::Calls(recording), parameter.calls);
    EXPECT_TRUE(Sim::Mounts().empty());
    EXPECT_EQ(TakeTexts("CFileTest"), Texts()) << "mounting logs nothing";
}

INSTANTIATE_TEST_SUITE_P(
    Disks, Mounting,
    testing::Values(
        MountCase{"whole", 0, Disk::WHOLE, 0, {UNMOUNT, Mount("/dev/sda"), UNMOUNT}},
        MountCase{"partitioned", 1, Disk::PARTITIONED, 0, {UNMOUNT, Mount("/dev/sdb"), Mount("/dev/sdb1"), UNMOUNT}},
        MountCase{"absent", 2, Disk::ABSENT, -1, {UNMOUNT, Mount("/dev/sdc"), Mount("/dev/sdc1"), UNMOUNT}},
        MountCase{"unformatted", 0, Disk::UNFORMATTED, -1, {UNMOUNT, Mount("/dev/sda"), Mount("/dev/sda1"), UNMOUNT}},
        MountCase{"below", -1, Disk::WHOLE, -1, {UNMOUNT}}, MountCase{"above", 3, Disk::WHOLE, -1, {UNMOUNT}}),
    Support::CASE_NAME);

class Verifying : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        TakeTexts("CFileTest");
    }

    CFileTest m_check;
};

TEST_F(Verifying, LeavesThePatternInTheFile)
{
    const std::string path = Support::TemporaryPath("verify");
    for (int i = 0; i < 2; ++i) {  // the second time an existing file is replaced
        EXPECT_EQ(m_check.FileVerify(path.c_str()), 0);
        EXPECT_EQ(TakeTexts("CFileTest"), (Texts{"[D] fwrite = 1\n", "[D] fread = 1\n", "[D] memcmp OK"}));
        const std::string content = Support::Content(path);
        ASSERT_EQ(content.size(), 1024U);
        for (std::size_t at = 0; at < content.size(); ++at) {
            ASSERT_EQ(static_cast<unsigned char>(content[at]), at % 256) << "byte " << at;
        }
    }
    std::remove(path.c_str());
}

TEST_F(Verifying, TellsWhatFailed)
{
    EXPECT_EQ(m_check.FileVerify("/nonexistent/file"), 1);
    EXPECT_EQ(TakeTexts("CFileTest"), Texts());
    EXPECT_EQ(m_check.FileVerify("/dev/zero"), 3) << "takes everything, gives zeros";
    EXPECT_EQ(TakeTexts("CFileTest"), (Texts{"[D] fwrite = 1\n", "[D] fread = 1\n"}));
    EXPECT_EQ(m_check.FileVerify("/dev/null"), 3) << "takes everything, gives nothing";
    EXPECT_EQ(TakeTexts("CFileTest"), (Texts{"[D] fwrite = 1\n", "[D] fread = 0\n"}));
    EXPECT_EQ(m_check.FileVerify("/dev/full"), 3) << "takes nothing, gives zeros";
    EXPECT_EQ(TakeTexts("CFileTest"), (Texts{"[D] fwrite = 0\n", "[D] fread = 1\n"}));
}

}  // namespace
