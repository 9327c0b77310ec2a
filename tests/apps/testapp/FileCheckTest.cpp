// Which disk a file check mounts, and that it does not stay mounted.
#include "apps/testapp/FileCheck.h"

#include <cerrno>

#include <gmock/gmock.h>

#include "sim/SimBoard.h"

namespace {

using Sim::Disk;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

class FileCheck : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::PowerOn();
        Sim::PlugIn(0, Disk::ABSENT);
    }
    void TearDown() override { Sim::Reset(); }

    /// Checks a file and expects that result code; returns what was mounted and unmounted meanwhile, in order.
    static Texts Mounts(const std::string& path, int result)
    {
        const Sim::Recording recording;
        EXPECT_EQ(TestApp::CheckFile(path), TestApp::ResultCodeReply(result)) << path;
        Texts calls;
        for (const Sim::Call& call : recording.Calls()) {
            if (call.name == "mount" || call.name == "umount2") {
                calls.push_back(call.path);
                EXPECT_EQ(call.argument, 0) << "flags of " << call.path;
            }
        }
        EXPECT_THAT(Sim::Mounts(), IsEmpty());
        return calls;
    }
};

constexpr const char* ABSENT_FOLDER = "/mnt/usb/nonexistent/file";

TEST_F(FileCheck, MountsTheFirstDiskThatMountsAndUnmountsIt)
{
    const auto all =
        ElementsAre("/mnt/usb", "/dev/sda /mnt/usb vfat", "/dev/sda1 /mnt/usb vfat", "/dev/sdb /mnt/usb vfat",
                    "/dev/sdb1 /mnt/usb vfat", "/dev/sdc /mnt/usb vfat", "/dev/sdc1 /mnt/usb vfat");
    EXPECT_THAT(Mounts(ABSENT_FOLDER, 1), all) << "no disk";
    Sim::PlugIn(2, Disk::PARTITIONED);
    EXPECT_THAT(Mounts(ABSENT_FOLDER, 1).back(), "/mnt/usb");
    Sim::PlugIn(1, Disk::UNFORMATTED);
    EXPECT_EQ(Mounts(ABSENT_FOLDER, 1).size(), 8U);
    Sim::PlugIn(1, Disk::WHOLE);
    EXPECT_THAT(Mounts(ABSENT_FOLDER, 1), ElementsAre("/mnt/usb", "/dev/sda /mnt/usb vfat", "/dev/sda1 /mnt/usb vfat",
                                                      "/dev/sdb /mnt/usb vfat", "/mnt/usb"));
}

TEST_F(FileCheck, SaysThatADiskStaysMounted)
{
    Sim::PlugIn(0, Disk::WHOLE);
    testing::internal::CaptureStderr();
    EXPECT_EQ(TestApp::CheckFile(ABSENT_FOLDER), TestApp::ResultCodeReply(1));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    Sim::Inject(Sim::Fault::Fails("umount2", EBUSY).After(1));
    testing::internal::CaptureStderr();
    EXPECT_EQ(TestApp::CheckFile(ABSENT_FOLDER), TestApp::ResultCodeReply(1));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "testapp: cannot unmount /mnt/usb: Device or resource busy\n");
}

TEST_F(FileCheck, MountsTheDiskForAFileBelowItsFolderAlone)
{
    for (const char* const path : {"/mnt/usb/a", "//mnt//usb/a", "/mnt/./usb/../usb/a", "/mnt/usbx/../usb/a"}) {
        EXPECT_EQ(Mounts(path, 1).size(), 7U) << path;
    }
    for (const char* const path : {"/mnt/usbx/a", "/mnt/usb/../no/a", "/mnt/us/b", "/no/mnt/usb/a"}) {
        EXPECT_THAT(Mounts(path, 1), IsEmpty()) << path;
    }
}

}  // namespace
