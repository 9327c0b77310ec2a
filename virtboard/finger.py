"""The operator of the touch test: puts the finger on each target as it appears on the display."""

import time
from typing import NamedTuple, Optional

from virtboard.machine import HEIGHT, WIDTH, Machine
from virtboard.picture import Picture

SETTLED_SECONDS = 0.25  # the kernel hands what is drawn to the display in parts, 0.05 seconds apart
LARGEST_TARGET = 200  # pixels, width and height; a larger change is another picture


class Box(NamedTuple):
    """Pixels from `left` to `right` and from `top` to `bottom`, all of them included."""

    left: int
    top: int
    right: int
    bottom: int

    def middle(self) -> tuple[int, int]:
        return (self.left + self.right) // 2, (self.top + self.bottom) // 2

    def is_target(self) -> bool:
        return self.right - self.left < LARGEST_TARGET and self.bottom - self.top < LARGEST_TARGET


class Operator:
    """Looks at the display, and touches what is new there. The touch test begins on a black screen."""

    def __init__(self, machine: Machine):
        self.touched: list[tuple[int, int]] = []
        self._machine = machine
        self._known = Picture(WIDTH, HEIGHT, bytes(WIDTH * HEIGHT * 3))  # the display without a target
        self._last_target: Optional[Box] = None
        self._last_look = self._known
        self._changed_at = time.monotonic()
        self._is_judged = False

    def look(self) -> None:
        """Touches a target when the display has stayed the same for a while, so that it is complete."""
        picture = self._machine.photograph()
        if picture.pixels != self._last_look.pixels:
            self._last_look, self._changed_at, self._is_judged = picture, time.monotonic(), False
        elif not self._is_judged and time.monotonic() - self._changed_at >= SETTLED_SECONDS:
            self._is_judged = True
            self._judge(picture)

    def _judge(self, picture: Picture) -> None:
        target = changed_box(self._known, picture, self._last_target)
        if target and target.is_target():
            self._machine.touch(*target.middle())
            self.touched.append(target.middle())
            self._known, self._last_target = picture, target


def changed_box(before: Picture, after: Picture, without: Optional[Box] = None) -> Optional[Box]:
    """The smallest box around the pixels that differ, ignoring those inside `without`."""
    rows = [(y, *_changed_columns(before, after, y, without)) for y in range(after.height)
            if before.row(y) != after.row(y)]
    rows = [row for row in rows if row[1] <= row[2]]
    if not rows:
        return None
    return Box(min(row[1] for row in rows), rows[0][0], max(row[2] for row in rows), rows[-1][0])


def _changed_columns(before: Picture, after: Picture, y: int, without: Optional[Box]) -> tuple[int, int]:
    """The first and the last column that differs in a row; the first is greater when there is none."""
    is_beside = without and without.top <= y <= without.bottom
    columns = [x for x in range(after.width) if before.pixel(x, y) != after.pixel(x, y)
               and not (is_beside and without.left <= x <= without.right)]
    return (columns[0], columns[-1]) if columns else (after.width, -1)
