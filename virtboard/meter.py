"""The instruments at the board: what a person would look at, measured from outside."""

import json
import socket
import time
from pathlib import Path

from virtboard.machine import Machine
from virtboard.picture import Picture

SETTLED_SECONDS = 0.25  # the kernel hands what is drawn to the display in parts, 0.05 seconds apart


class Meter:
    """A socket at which programs of the station find one reading as JSON, from construction to `close`.

    "pwm" and "brightness" are what the board's drivers were asked for last, "picture" the colours along the display's middle row.
    """

    def __init__(self, machine: Machine, path: Path):
        self._machine = machine
        self.path = path
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.setblocking(False)
        self._socket.bind(str(path))
        self._socket.listen()

    def close(self) -> None:
        self._socket.close()
        self.path.unlink()

    def serve(self) -> None:
        """Answers whoever asks now."""
        try:
            connection = self._socket.accept()[0]
        except BlockingIOError:
            return
        with connection:
            connection.sendall(json.dumps(self._read()).encode())

    def _read(self) -> dict:
        driver = self._machine.shell.check("cd /sys/class/misc/dev_status && cat pwm brightness").split()
        return {"pwm": int(driver[0]), "brightness": int(driver[1]), "picture": _colours(self._settled_picture())}

    def _settled_picture(self) -> Picture:
        picture, since = self._machine.photograph(), time.monotonic()
        while time.monotonic() - since < SETTLED_SECONDS:
            now = self._machine.photograph()
            if now.pixels != picture.pixels:
                picture, since = now, time.monotonic()
        return picture


def _colours(picture: Picture) -> str:
    """Those along the middle row, as RRGGBB, each once where it begins."""
    row = picture.row(picture.height // 2)
    colours = [row[at:at + 3].hex() for at in range(0, len(row), 3)]
    return " ".join(colour for colour, before in zip(colours, [None, *colours]) if colour != before)
