"""The pictures that the display must show, made here without the library."""

import struct
from pathlib import Path

from virtboard.machine import HEIGHT, WIDTH
from virtboard.picture import Picture

BARS = ["FFFFFF", "FFFF00", "00FFFF", "00FF00", "FF00FF", "FF0000", "0000FF", "000000"]


class Screen:
    """The pixels of the display as rows of 3-byte pixels."""

    def __init__(self):
        self._rows = [bytearray(WIDTH * 3) for _ in range(HEIGHT)]

    def fill(self, value: int) -> "Screen":
        self._rows = [bytearray([value]) * (WIDTH * 3) for _ in range(HEIGHT)]
        return self

    def colour_bars(self) -> "Screen":
        row = b"".join(bytes.fromhex(colour) * (WIDTH // len(BARS)) for colour in BARS)
        self._rows = [bytearray(row) for _ in range(HEIGHT)]
        return self

    def dim(self, weight: int) -> "Screen":
        table = bytes(value * weight // 256 for value in range(256))
        self._rows = [row.translate(table) for row in self._rows]
        return self

    def paste(self, x: int, y: int, bitmap: Picture) -> "Screen":
        for row in range(bitmap.height):
            self._rows[y + row][x * 3:(x + bitmap.width) * 3] = bitmap.row(row)
        return self

    def picture(self) -> Picture:
        return Picture(WIDTH, HEIGHT, b"".join(self._rows))


def read_bmp(path: Path) -> Picture:
    """A 24-bit BMP file: rows from the bottom, each filled up to a multiple of 4 bytes, pixels blue, green, red."""
    content = path.read_bytes()
    start, _, width, height = struct.unpack_from("<IIii", content, 10)
    size = (width * 3 + 3) // 4 * 4
    rows = [content[start + y * size:start + y * size + width * 3] for y in reversed(range(height))]
    pixels = bytearray(b"".join(rows))
    pixels[0::3], pixels[2::3] = pixels[2::3], pixels[0::3]
    return Picture(width, height, bytes(pixels))
