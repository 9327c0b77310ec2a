"""Many frames in one run of the test application, good and bad ones mixed: each has its one reply."""

import random

from line import COMMANDS, ERROR_FRAME, FRAME_SIZE, BAD_REQUEST, NOT_SUPPORTED, PASS, Line, frame
from support import BUILD, OUTPUT, SECONDS, Board, Counts, use_of

NO_PAUSES = BUILD / "tests/libno_pauses.so"  # takes the pauses out of the test application
WARM_UP = 10         # percent of the frames, before what the process uses is looked at
MOST_GROWTH = 1024   # KiB; twelve bytes lost with each of the other 90,000 frames are more
CODES = {**COMMANDS, "ADC_IN_TEST": 6, "SPEAKER_OUT_TEST": 7, "RAM_TEST": 12, "FLASH_TEST": 13}


class Station:
    """Makes frames up, and knows what the board has to reply to each: pairs of what is sent and the reply."""

    def __init__(self, version: bytes, seed: int):
        """`version` is what the board replies to READ_VERSION."""
        self._random = random.Random(seed)
        self._version = version
        self._outputs = b"\0\0"

    def next(self) -> tuple[bytes, bytes]:
        make = self._random.choice([self._good] * 6 + [self._damaged, self._unknown, self._cut])
        return make()

    def _good(self) -> tuple[bytes, bytes]:
        two = self._random.randbytes(2)
        name, data, reply = self._random.choice([
            ("READ_VERSION", b"", self._version),
            ("GPO_TEST", two, [PASS]),
            ("GPI_TEST", b"", [PASS, *self._outputs]),
            ("PWM_OUT_TEST", two, [PASS]),
            ("EXT_DEVICE_TEST", b"\0\7", [BAD_REQUEST]),
            ("EXT_DEVICE_TEST", b"\1/mnt/usb/endurance", [PASS]),
            ("EXT_DEVICE_TEST", b"\2127.0.0.256", [BAD_REQUEST]),
            ("EXT_DEVICE_TEST", b"\3lo", [PASS, *b"127.0.0.1"]),
            ("LCD_BLU_TEST", bytes([4, two[0] % 101]), [PASS]),
            ("LCD_BLU_TEST", bytes([5, two[0]]), [BAD_REQUEST]),
            ("RTC_TEST", bytes([1, 26, 2, 30, 0, 0, 0]), [BAD_REQUEST]),
            ("CONFIRM_TEST_MODE", b"", [PASS]),
            *[(name, two, [NOT_SUPPORTED]) for name in CODES if name not in COMMANDS],
        ])
        if name == "GPO_TEST":
            self._outputs = two
        return frame(CODES[name], data, self._random.choice([1, 3, 5])), frame(CODES[name], bytes(reply))

    def _damaged(self) -> tuple[bytes, bytes]:
        sent = bytearray(frame(CODES["GPI_TEST"], b"endurance"))
        sent[self._random.randrange(FRAME_SIZE - 1)] ^= 1 << self._random.randrange(8)
        return bytes(sent), ERROR_FRAME

    def _unknown(self) -> tuple[bytes, bytes]:
        """For another type of board, or a command that there is not."""
        return self._random.choice([frame(4, board_type=2), frame(self._random.randrange(14, 255))]), ERROR_FRAME

    def _cut(self) -> tuple[bytes, bytes]:
        """The beginning of a frame, or as much noise."""
        sent = self._random.choice([frame(4), self._random.randbytes(FRAME_SIZE)])
        return sent[:self._random.randrange(1, FRAME_SIZE)], ERROR_FRAME


def run(count: int, seed: int) -> Counts:
    counts = Counts("frames without pauses", MOST_GROWTH)
    board = Board(OUTPUT / "frames", preload=str(NO_PAUSES))
    line = Line(str(board.port))
    try:
        station = Station(line.ask("READ_VERSION"), seed)
        for number in range(count):
            if number == count * WARM_UP // 100:
                counts.before = use_of(board.process)
            _exchange(line, *station.next(), counts)
        counts.doubled += len(line.receive_all()) > 0
        counts.after = use_of(board.process)
    finally:
        line.close()
        board.switch_off()
    return counts


def _exchange(line: Line, sent: bytes, expected: bytes, counts: Counts) -> None:
    counts.number += 1
    counts.doubled += len(line.receive_all(0)) > 0
    reply = line.exchange(sent, SECONDS)
    if len(reply) < FRAME_SIZE:
        counts.lost += 1
    elif reply != expected:
        counts.wrong += 1
        counts.say(f"the reply to {sent.hex(' ')} is {reply.hex(' ')} instead of {expected.hex(' ')}")
