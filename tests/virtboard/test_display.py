"""The display: every request of the station, on a photograph of it and in the display driver."""

from line import FAIL, PASS
from screen import Screen
from support import DRIVER, BoardTest

BLACK, WHITE, BARS, DIM, BRIGHTNESS = range(5)


class DisplayTest(BoardTest):
    def show(self, action: int, level: int = 0) -> int:
        return self.line.ask("LCD_BLU_TEST", bytes([action, level]))[0]

    def test_the_screen_after_each_request(self):
        bars = lambda: Screen().colour_bars()
        steps = [
            (BLACK, 0, Screen().fill(0)), (WHITE, 0, Screen().fill(255)), (DIM, 255, Screen().fill(254)),
            (BARS, 0, bars()), (DIM, 128, bars().dim(128)), (DIM, 100, bars().dim(128).dim(100)),
            (BRIGHTNESS, 40, bars().dim(128).dim(100)), (DIM, 0, Screen().fill(0)),
        ]
        for action, level, expected in steps:
            with self.subTest(action=action, level=level):
                self.assertEqual(self.show(action, level), PASS)
                self.assert_display(expected)

    def test_the_area_reaches_the_driver(self):
        self.show(BLACK)
        self.assertEqual(self.on_board(f"cat {DRIVER}/area"), "0 32 800 480 0 0")

    def test_the_brightness_reaches_the_driver(self):
        for level in (0, 70, 100):
            self.assertEqual(self.show(BRIGHTNESS, level), PASS)
            self.assertEqual(self.on_board(f"cat {DRIVER}/brightness"), str(level))
        self.assertEqual(self.show(BRIGHTNESS, 101), FAIL)
        self.assertEqual(self.on_board(f"cat {DRIVER}/brightness"), "100")
