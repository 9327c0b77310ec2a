"""What all tests of the emulated board share."""

import unittest

from line import Line
from virtboard import packages
from virtboard.machine import Machine

OUTPUT = packages.BUILD / "test-arm"

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
