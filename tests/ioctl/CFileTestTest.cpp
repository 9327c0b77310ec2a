// The check of the USB host port: mounting a disk, and verifying a file.
#include "ioctl/CFileTest.h"

#include <cstdio>

#include "tests/ioctl/Board.h"
#include "tests/support/Program.h"

namespace {

using Sim::Disk;
using Support::TakeTexts;
using Support::Texts;

class UsbCheck : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        TakeTexts("CFileTest");
    }

    IOCTL::CFileTest m_check;
};

struct MountCase {
    int index;
    Disk disk;
    int result;
    Texts tried;
};

TEST_F(UsbCheck, TheWholeDiskIsTriedAfterASecondThenItsPartition)
{
    const MountCase cases[] = {{0, Disk::WHOLE, 0, {"/dev/sda"}},
                               {1, Disk::PARTITIONED, 0, {"/dev/sdb", "/dev/sdb1"}},
                               {2, Disk::ABSENT, -1, {"/dev/sdc", "/dev/sdc1"}},
                               {0, Disk::UNFORMATTED, -1, {"/dev/sda", "/dev/sda1"}},
                               {-1, Disk::WHOLE, -1, {}},
                               {3, Disk::WHOLE, -1, {}}};
    for (const auto& [index, disk, result, tried] : cases) {
        SCOPED_TRACE("disk " + std::to_string(index));
        Texts expected;
        if (!tried.empty()) {
            Sim::PlugIn(index, disk);
            expected = {"umount2 /mnt/usb 0", "sleep 1"};
        }
        for (const std::string& device : tried) {
            expected.push_back("mount " + device + " /mnt/usb vfat 0");
        }
        expected.emplace_back("umount2 /mnt/usb 0");
        const Support::Steps steps;
        EXPECT_EQ(m_check.MountUSB(index), result);
        EXPECT_EQ(steps.Taken(), expected);
        EXPECT_TRUE(Sim::Mounts().empty());
    }
    Support::Steps steps;
    steps.CutNextSleep();
    EXPECT_EQ(m_check.MountUSB(0), -1);
    EXPECT_EQ(steps.Taken().at(2), "sleep 1") << "goes on after a signal handler";
    EXPECT_EQ(TakeTexts("CFileTest"), Texts()) << "mounting logs nothing";
}

TEST_F(UsbCheck, AFileIsClosedBeforeItIsReadBack)
{
    const std::string path = Support::TemporaryPath("verify");
    for (int i = 0; i < 2; ++i) {  // the second time an existing file is replaced
        std::optional<Sim::Recording> recording(std::in_place);
        EXPECT_EQ(m_check.FileVerify(path.c_str()), 0);
        Texts calls;
        for (const Sim::Call& call : recording->Calls()) {
            calls.push_back(call.name);
        }
        recording.reset();
        EXPECT_EQ(calls, (Texts{"fopen", "write", "close", "fopen", "read", "close"}));
        EXPECT_EQ(TakeTexts("CFileTest"), (Texts{"[D] fwrite = 1\n", "[D] fread = 1\n", "[D] memcmp OK"}));
        const std::string content = Support::Content(path);
        ASSERT_EQ(content.size(), 1024U);
        for (std::size_t at = 0; at < content.size(); ++at) {
            ASSERT_EQ(static_cast<unsigned char>(content[at]), at % 256) << "byte " << at;
        }
    }
    std::remove(path.c_str());
    EXPECT_EQ(m_check.FileVerify("/dev/zero"), 3) << "takes everything, gives zeros";
}

}  // namespace
