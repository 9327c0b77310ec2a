"""What all tests of the emulated board share."""

import time
import unittest
from pathlib import Path

from line import Line
from screen import Screen
from virtboard import packages
from virtboard.machine import Machine

OUTPUT = packages.BUILD / "test-arm"
DRIVER = "/sys/class/misc/dev_status"  # what the board's own drivers were asked for
DISPLAY_SECONDS = 5                    # in which the display must show what was drawn

machine: Machine  # one for all tests, switched on by run.py


class BoardTest(unittest.TestCase):
    """A test that talks to the board, as the station over `line`, and as somebody at its side through `machine`."""

    def setUp(self):
        self.machine = machine
        self.line = Line(machine.station_line)
        self.addCleanup(self.line.close)

    def on_board(self, command: str) -> str:
        """What a command on the board prints; it must succeed."""
        return self.machine.shell.check(command).strip()

    def plug_disk(self, image: Path, name: str = "sda") -> None:
        """Plugs a USB disk in, which is /dev/NAME until the test ends."""
        self.machine.plug_disk(image)
        self.addCleanup(self.on_board, f"while [ -b /dev/{name} ]; do usleep 20000; done")
        self.addCleanup(self.machine.unplug_disk, image)
        self.on_board(f"until [ -b /dev/{name} ]; do usleep 20000; done")

    def open_descriptors(self) -> list[str]:
        """The test application's open descriptors, as "3 /dev/ttyS0"."""
        return self.on_board("cd /proc/$(pidof testapp)/fd; for fd in *; do echo $fd $(readlink $fd); done").splitlines()

    def restart_testapp(self, signal: str) -> tuple[str, str]:
        """Ends the test application by a signal and starts it again. Returns the ended one's exit code and output."""
        code = self.on_board(f"rm -f /var/log/testapp.exit; kill -{signal} $(pidof testapp);"
                             " until [ -s /var/log/testapp.exit ]; do usleep 20000; done; cat /var/log/testapp.exit")
        output = self.on_board("cat /var/log/testapp.log")
        self.on_board("start-testapp")
        return code, output

    def assert_display(self, expected: Screen) -> None:
        """The display shows exactly this, soon: the kernel hands drawn pixels to the display some time later."""
        wanted = expected.picture()
        end = time.monotonic() + DISPLAY_SECONDS
        while (shown := self.machine.photograph()).pixels != wanted.pixels:
            if time.monotonic() > end:
                shown.save_png(OUTPUT / f"{self.id()}.png")
                wanted.save_png(OUTPUT / f"{self.id()}.expected.png")
                position = next(i for i, pair in enumerate(zip(shown.pixels, wanted.pixels)) if pair[0] != pair[1]) // 3
                x, y = position % shown.width, position // shown.width
                self.fail(f"the display shows {shown.pixel(x, y)} at {x},{y}, expected {wanted.pixel(x, y)};"
                          f" see {self.id()}.png and {self.id()}.expected.png in {OUTPUT}")
