"""The serial link: bad frames of every kind, and many good ones."""

import subprocess

from line import ERROR_FRAME, PASS, checksum, frame
from support import BoardTest
from virtboard import board

GOOD = frame(255)
COMMANDS = 500
MOST_REPETITIONS = COMMANDS // 100
AFTERMATH_SECONDS = 0.2  # in which a second error frame would come


def with_wrong_bit(position: int) -> bytes:
    damaged = bytearray(GOOD)
    damaged[position] ^= 0x10
    return bytes(damaged)


def bad_frames():
    for position in range(len(GOOD) - 1):
        yield f"a wrong bit in byte {position}", with_wrong_bit(position)
    for size in range(1, len(GOOD)):
        yield f"only the first {size} bytes", GOOD[:size]
    for board_type in (0, 2, 4, 6, 255):
        yield f"board type {board_type}", frame(255, board_type=board_type)
    for command in (0, 14, 0x55, 128, 254):
        yield f"command {command}", frame(command)
    yield "noise", bytes.fromhex("5A 00 E7 5A 13 03 81")
    yield "zeros", bytes(30) + b"\1"


class LinkTest(BoardTest):
    def test_every_bad_frame_is_answered_with_one_error_frame(self):
        for kind, sent in bad_frames():
            with self.subTest(kind):
                received = self.line.exchange(sent) + self.line.receive_all(AFTERMATH_SECONDS)
                self.assertEqual(received.hex(" "), ERROR_FRAME.hex(" "))
                self.assertEqual(self.line.ask("CONFIRM_TEST_MODE")[0], PASS)

    def test_start_and_end_byte_are_not_examined(self):
        covered = b"\0" + GOOD[1:29]
        self.assertEqual(self.line.exchange(covered + bytes([checksum(covered), 0])), GOOD)

    def test_many_commands_are_answered_with_few_repetitions(self):
        sent = 0
        for _ in range(COMMANDS):
            station = board.station(self.machine, "--hex", "send", "CONFIRM_TEST_MODE", stdout=subprocess.PIPE, text=True)
            output = station.communicate()[0]
            self.assertEqual(station.returncode, 0, output)
            sent += output.count("> ")
        self.assertLessEqual(sent - COMMANDS, MOST_REPETITIONS)
