"""Pictures of the display: from QEMU's PPM files, to PNG files."""

import struct
import zlib
from pathlib import Path


class Picture:
    """Width and height in pixels, and 3 bytes per pixel: red, green, blue; rows from the top."""

    def __init__(self, width: int, height: int, pixels: bytes):
        self.width = width
        self.height = height
        self.pixels = pixels

    @staticmethod
    def from_ppm(content: bytes) -> "Picture":
        """Reads a binary PPM file as QEMU writes it: no comments, 255 levels."""
        magic, width, height, levels, pixels = content.split(maxsplit=4)
        if magic != b"P6" or levels != b"255":
            raise ValueError("not a PPM file of 255 levels")
        return Picture(int(width), int(height), content[-int(width) * int(height) * 3:])

    def row(self, y: int) -> bytes:
        return self.pixels[y * self.width * 3:(y + 1) * self.width * 3]

    def pixel(self, x: int, y: int) -> tuple[int, int, int]:
        position = (y * self.width + x) * 3
        return tuple(self.pixels[position:position + 3])

    def save_png(self, path: Path) -> None:
        """Writes a PNG file of 8-bit RGB (RFC 2083)."""
        header = struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)
        rows = b"".join(b"\0" + self.row(y) for y in range(self.height))
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + _chunk(b"IHDR", header) + _chunk(b"IDAT", zlib.compress(rows)) +
                         _chunk(b"IEND", b""))


def _chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
