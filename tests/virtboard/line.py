"""The station's end of the board's line, for tests: commands with their replies, and bytes as they are."""

import os
import select
import time
import tty
from functools import reduce

FRAME_SIZE = 31
BODY_SIZE = 26
REPLY_SECONDS = 10
QUIET_SECONDS = 0.1  # after an error frame, before the command is repeated

COMMANDS = {
    "READ_VERSION": 1, "COMM_TEST": 2, "GPO_TEST": 3, "GPI_TEST": 4, "PWM_OUT_TEST": 5, "EXT_DEVICE_TEST": 8,
    "LCD_BLU_TEST": 9, "TOUCH_TEST": 10, "RTC_TEST": 11, "CONFIRM_TEST_MODE": 255,
}
PASS, FAIL, NOT_SUPPORTED, BAD_REQUEST = range(4)  # byte 0 of a reply's data


def frame(command: int, data: bytes = b"", board_type: int = 1) -> bytes:
    covered = bytes([0x5A, board_type, command]) + data.ljust(BODY_SIZE, b"\0")
    return covered + bytes([checksum(covered), 0x03])


def checksum(covered: bytes) -> int:
    return reduce(lambda total, byte: total ^ byte, covered)


ERROR_FRAME = frame(255, b"\xFF" * BODY_SIZE)


class Line:
    """The line, open until `close`."""

    def __init__(self, path: str):
        self.repetitions = 0  # commands that were repeated after an error frame
        self._fd = os.open(path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self._fd)

    def close(self) -> None:
        os.close(self._fd)

    def ask(self, command: str, data: bytes = b"", seconds: float = REPLY_SECONDS) -> bytes:
        """Has a command carried out and returns the 26 data bytes of its reply. Where a stall of the emulator cut the
        frame in two, the board answers with error frames, and the command is repeated, once."""
        request = frame(COMMANDS[command], data)
        reply = self.exchange(request, seconds)
        if reply == ERROR_FRAME:
            self.repetitions += 1
            self.receive_all()
            reply = self.exchange(request, seconds)
        expected = frame(COMMANDS[command], reply[3:-2])
        assert reply == expected, f"{command} {data.hex(' ')}: the reply is {reply.hex(' ')}"
        return reply[3:-2]

    def exchange(self, sent: bytes, seconds: float = REPLY_SECONDS) -> bytes:
        """Sends bytes and returns up to 31 that come back within the time."""
        os.write(self._fd, sent)
        received = b""
        end = time.monotonic() + seconds
        while len(received) < FRAME_SIZE and self._is_readable(end - time.monotonic()):
            received += os.read(self._fd, FRAME_SIZE - len(received))
        return received

    def receive_all(self, quiet: float = QUIET_SECONDS) -> bytes:
        """The bytes that arrive until the line has been quiet for `quiet` seconds."""
        received = b""
        while self._is_readable(quiet):
            received += os.read(self._fd, 4096)
        return received

    def _is_readable(self, seconds: float) -> bool:
        return bool(select.select([self._fd], [], [], max(seconds, 0))[0])
