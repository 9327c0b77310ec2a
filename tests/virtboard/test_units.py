"""The library's unit tests, cross-compiled, on the board's processor and C library."""

from support import BoardTest
from virtboard import image

SECONDS = 300


class UnitsTest(BoardTest):
    def test_every_unit_test_passes(self):
        # Some allocate more than the board's memory, and touch little of it.
        self.on_board("echo 1 >/proc/sys/vm/overcommit_memory")
        for program in image.unit_tests():
            with self.subTest(program.name):
                result = self.machine.shell.run(f"cd /tmp && {program} --gtest_brief=1", SECONDS)
                self.assertEqual(result.code, 0, result.output.decode(errors="replace"))
