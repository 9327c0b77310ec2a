"""What all tests of the emulated board share: one board, which is on until the last test has ended."""

import atexit
import functools
import unittest

from line import Line
from virtboard import board, packages
from virtboard.machine import Machine

OUTPUT = packages.BUILD / "test-arm"


@functools.cache
def the_machine() -> Machine:
    machine = board.switch_on(OUTPUT)
    atexit.register(machine.power_off)
    return machine


class BoardTest(unittest.TestCase):
    """A test that talks to the board, as the station over `line`, and as somebody at its side through `machine`."""

    def setUp(self):
        self.machine = the_machine()
        self.shell = self.machine.shell
        self.line = Line(self.machine.station_line)
        self.addCleanup(self.line.close)

    def on_board(self, command: str) -> str:
        """What a command on the board prints."""
        return self.shell.check(command).strip()
