"""The second serial port, with its loopback plug in and out."""

from line import FAIL, PASS
from support import BoardTest


class LoopbackTest(BoardTest):
    def setUp(self):
        super().setUp()
        self.plug = self.machine.plug
        self.plug.received = b""

    def test_with_the_plug_what_is_sent_comes_back(self):
        self.assertEqual(self.line.ask("COMM_TEST", b"0123456789abc")[:2], bytes([PASS, 0]))
        self.assertEqual(self.plug.received, b"0123456789")

    def test_without_the_plug_nothing_comes_back(self):
        self.plug.is_in = False
        try:
            self.assertEqual(self.line.ask("COMM_TEST", b"abc")[:2], bytes([FAIL, 3]))
        finally:
            self.plug.is_in = True
        self.assertEqual(self.plug.received, b"abc".ljust(10, b"\0"))
