"""The touch panel: what the test shows after each touch, and the points it answers with."""

import struct
from concurrent.futures import ThreadPoolExecutor

from line import PASS
from screen import Screen, read_bmp
from support import BoardTest
from virtboard.image import REPOSITORY
from virtboard.machine import HEIGHT, WIDTH

IMAGES = REPOSITORY / "apps/testapp/images"
SIZE = 40      # pixels, width and height of the images
TOLERANCE = 2  # pixels
SECONDS = 30   # for all five touches


def places(margin: int) -> list[tuple[int, int]]:
    """Where the images' top left pixels go."""
    right, bottom = WIDTH - margin - SIZE, HEIGHT - margin - SIZE
    return [(margin, margin), (right, margin), (right, bottom), (margin, bottom),
            ((WIDTH - SIZE) // 2, (HEIGHT - SIZE) // 2)]


class TouchTest(BoardTest):
    def touch_targets(self, margin: int, offsets: list[tuple[int, int]]) -> None:
        """Touches each target at its offset from its top left pixel, and checks the display before and after it."""
        target, confirmation = read_bmp(IMAGES / "target.bmp"), read_bmp(IMAGES / "confirmation.bmp")
        screen = Screen()
        for (x, y), (dx, dy) in zip(places(margin), offsets):
            self.assert_display(screen.paste(x, y, target))
            self.machine.touch(x + dx, y + dy)
            screen.paste(x, y, confirmation)
        self.assert_display(screen)

    def check(self, margin: int, offsets: list[tuple[int, int]]) -> None:
        descriptors = self.open_descriptors()
        with ThreadPoolExecutor() as pool:
            reply = pool.submit(self.line.ask, "TOUCH_TEST", bytes([margin]), SECONDS)
            try:
                self.touch_targets(margin, offsets)
            except AssertionError:
                self.restart_testapp("KILL")  # it waits for touches that will not come
                raise
            status, *found = struct.unpack(">B10h", reply.result()[:21])
        expected = [place + offset for at, by in zip(places(margin), offsets) for place, offset in zip(at, by)]
        self.assertEqual(status, PASS)
        for got, wanted in zip(found, expected):
            self.assertAlmostEqual(got, wanted, delta=TOLERANCE, msg=f"{found}, touched {expected}")
        self.assertEqual(self.open_descriptors(), descriptors)

    def test_targets_touched_in_the_middle(self):
        self.check(30, [(20, 20)] * 5)

    def test_targets_at_the_edges_touched_off_the_middle(self):
        self.check(0, [(0, 0), (39, 0), (39, 39), (0, 39), (5, 33)])
