"""Outputs, inputs, PWM and version bits: the status driver."""

from line import PASS
from support import DRIVER, BoardTest


class StatusTest(BoardTest):
    def test_outputs_reach_the_driver_and_come_back_as_inputs(self):
        for pattern in (b"\xA5\x3C", b"\x5A\xC3", b"\x01\x00", b"\x00\x80"):
            with self.subTest(pattern=pattern.hex()):
                self.assertEqual(self.line.ask("GPO_TEST", pattern)[0], PASS)
                self.assertEqual(bytes.fromhex(self.on_board(f"cat {DRIVER}/outputs")), pattern)
                self.assertEqual(self.line.ask("GPI_TEST")[:3], bytes([PASS]) + pattern)

    def test_the_two_low_bits_of_the_pwm_setting_reach_the_driver(self):
        for setting, expected in ((2, "2"), (0xFD, "1")):
            with self.subTest(setting=setting):
                self.assertEqual(self.line.ask("PWM_OUT_TEST", bytes([setting]))[0], PASS)
                self.assertEqual(self.on_board(f"cat {DRIVER}/pwm"), expected)

    def test_the_version_bits_are_the_drivers(self):
        self.assertEqual(self.line.ask("READ_VERSION")[:4], bytes([PASS, 1, 0, 1]))
