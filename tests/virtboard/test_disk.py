"""USB disks: as a whole, by their first partition, and none."""

from line import FAIL, PASS
from support import OUTPUT, BoardTest
from virtboard import disks

MOUNT, VERIFY = b"\0", b"\1"


class DiskTest(BoardTest):
    def plug(self, image):
        self.machine.plug_disk(image)
        self.addCleanup(self.unplug, image)
        self.on_board("until [ -b /dev/sda ]; do usleep 20000; done")

    def unplug(self, image):
        self.machine.unplug_disk(image)
        self.on_board("while [ -b /dev/sda ]; do usleep 20000; done")

    def assert_unmounted(self):
        self.assertNotIn("/mnt/usb", self.on_board("cat /proc/mounts"))

    def write_through_the_library(self, device: str):
        self.on_board(f"mount -t vfat {device} /mnt/usb")
        try:
            self.assertEqual(self.line.ask("EXT_DEVICE_TEST", VERIFY + b"/mnt/usb/check.bin")[:2], bytes([PASS, 0]))
        finally:
            self.on_board("umount /mnt/usb")

    def test_a_disk_without_partition_table(self):
        image = disks.make_whole(OUTPUT / "whole.img")
        self.plug(image)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\0")[0], PASS)
        self.assert_unmounted()
        self.write_through_the_library("/dev/sda")
        self.assertEqual(disks.read_file(image, "check.bin"), bytes(range(256)) * 4)

    def test_a_disk_with_a_partition(self):
        image = disks.make_partitioned(OUTPUT / "partitioned.img")
        self.plug(image)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\0")[0], PASS)
        self.assert_unmounted()
        self.write_through_the_library("/dev/sda1")
        self.assertEqual(disks.read_file(image, "check.bin", partitioned=True), bytes(range(256)) * 4)

    def test_the_second_of_two_disks(self):
        self.plug(disks.make_whole(OUTPUT / "whole.img"))
        second = disks.make_partitioned(OUTPUT / "partitioned.img")
        self.machine.plug_disk(second)
        self.addCleanup(self.machine.unplug_disk, second)
        self.on_board("until [ -b /dev/sdb1 ]; do usleep 20000; done")
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\1")[0], PASS)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\2")[0], FAIL)

    def test_no_disk(self):
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\0")[0], FAIL)
        self.assert_unmounted()

    def test_a_file_where_none_can_be_written(self):
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", VERIFY + b"/nowhere/check.bin")[:2], bytes([FAIL, 1]))
