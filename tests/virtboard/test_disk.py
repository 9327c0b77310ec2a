"""USB disks: as a whole, by their first partition, and none."""

from pathlib import Path

from line import FAIL, PASS
from support import OUTPUT, BoardTest
from virtboard import disks

MOUNT, VERIFY = b"\0", b"\1"


class DiskTest(BoardTest):
    def assert_unmounted(self):
        self.assertNotIn("/mnt/usb", self.on_board("cat /proc/mounts"))

    def check(self, image: Path, **layout):
        """Has the disk in `image` mounted, and a file written to it."""
        self.plug_disk(image)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\0")[0], PASS)
        self.assert_unmounted()
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", VERIFY + b"/mnt/usb/check.bin")[:2], bytes([PASS, 0]))
        self.assert_unmounted()
        self.assertEqual(disks.read_file(image, "check.bin", **layout), bytes(range(256)) * 4)

    def test_a_disk_without_partition_table(self):
        self.check(disks.make_whole(OUTPUT / "whole.img"))

    def test_a_disk_with_a_partition(self):
        self.check(disks.make_partitioned(OUTPUT / "partitioned.img"), partitioned=True)

    def test_the_second_of_two_disks(self):
        self.plug_disk(disks.make_whole(OUTPUT / "whole.img"))
        self.plug_disk(disks.make_partitioned(OUTPUT / "partitioned.img"), "sdb")
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\1")[0], PASS)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\2")[0], FAIL)

    def test_no_disk(self):
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", MOUNT + b"\0")[0], FAIL)
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", VERIFY + b"/mnt/usb/check.bin")[:2], bytes([FAIL, 1]))
        self.assert_unmounted()

    def test_a_file_where_none_can_be_written(self):
        self.assertEqual(self.line.ask("EXT_DEVICE_TEST", VERIFY + b"/nowhere/check.bin")[:2], bytes([FAIL, 1]))
