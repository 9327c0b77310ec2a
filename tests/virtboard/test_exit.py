"""The test application's end: in good order, and with no descriptor left over before it."""

from support import BoardTest

REQUESTS = [
    ("READ_VERSION", b""), ("COMM_TEST", b"text"), ("GPO_TEST", b"\1"), ("GPI_TEST", b""), ("PWM_OUT_TEST", b"\1"),
    ("EXT_DEVICE_TEST", b"\0\0"), ("EXT_DEVICE_TEST", b"\1/tmp/check"), ("EXT_DEVICE_TEST", b"\2" + b"10.0.2.2"),
    ("EXT_DEVICE_TEST", b"\3eth0"), ("LCD_BLU_TEST", b"\2"), ("RTC_TEST", b"\0"), ("CONFIRM_TEST_MODE", b""),
]


class ExitTest(BoardTest):
    def test_no_check_leaves_a_descriptor_open(self):
        before = self.open_descriptors()
        self.assertTrue(any(descriptor.endswith(" /dev/ttyS0") for descriptor in before), before)
        for command, data in REQUESTS:
            self.line.ask(command, data)
        self.assertEqual(self.open_descriptors(), before)

    def test_a_signal_ends_it_in_good_order(self):
        code, output = self.restart_testapp("TERM")
        self.assertEqual(code, "0")
        self.assertIn("ended by Terminated", output)
        self.line.ask("CONFIRM_TEST_MODE")
