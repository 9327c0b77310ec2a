"""The real-time clock, set and read by the library and by other programs."""

import time
from datetime import datetime, timedelta

from line import BAD_REQUEST, PASS
from support import BoardTest

SLACK = timedelta(seconds=3)


def request(moment: datetime) -> bytes:
    return bytes([1, moment.year - 2000, moment.month, moment.day, moment.hour, moment.minute, moment.second])


def to_moment(reply: bytes) -> datetime:
    year, month, *rest = reply[1:7]
    return datetime(2000 + year, month, *rest)


class ClockTest(BoardTest):
    def assert_soon_after(self, moment: datetime, start: datetime):
        self.assertTrue(start <= moment <= start + SLACK, f"{moment} is not soon after {start}")

    def kernels_clock(self) -> datetime:
        return datetime.fromisoformat(self.on_board("cat /sys/class/rtc/rtc0/date /sys/class/rtc/rtc0/time"
                                                    " | tr '\\n' ' '"))

    def test_what_the_library_sets_others_read(self):
        moment = datetime(2027, 2, 28, 23, 59, 57)
        reply = self.line.ask("RTC_TEST", request(moment))
        self.assertEqual((reply[0], reply[7]), (PASS, 0), "a Sunday")
        self.assert_soon_after(to_moment(reply), moment)
        hwclock = time.strptime(self.on_board("hwclock -u -r").split("  ")[0])
        self.assert_soon_after(datetime(*hwclock[:6]), moment)
        self.assert_soon_after(datetime.fromisoformat(self.on_board("date '+%F %T'")), moment)

    def test_what_others_set_the_library_reads(self):
        moment = datetime(2031, 12, 1, 6, 5, 4)
        self.on_board(f"date -s '{moment}' && hwclock -u -w")
        reply = self.line.ask("RTC_TEST", b"\0")
        self.assertEqual((reply[0], reply[7]), (PASS, 1), "a Monday")
        self.assert_soon_after(to_moment(reply), moment)

    def test_times_beyond_32_bits(self):
        moment = datetime(2050, 7, 4, 12, 0, 0)
        self.assert_soon_after(to_moment(self.line.ask("RTC_TEST", request(moment))), moment)
        self.assert_soon_after(self.kernels_clock(), moment)
        seconds = int(self.on_board("sed -n 's/^btime //p' /proc/stat")) + float(
            self.on_board("cut -d ' ' -f 1 /proc/uptime"))
        self.assert_soon_after(datetime(1970, 1, 1) + timedelta(seconds=seconds + 1), moment)
        self.line.ask("RTC_TEST", request(datetime.now()))

    def test_a_date_that_does_not_exist_changes_nothing(self):
        before = self.kernels_clock()
        self.assertEqual(self.line.ask("RTC_TEST", bytes([1, 27, 2, 29, 0, 0, 0]))[0], BAD_REQUEST)
        self.assert_soon_after(self.kernels_clock(), before)
