"""Images of USB disks, formatted as FAT, without and with a partition table. Made without root and loop devices."""

import os
import struct
import subprocess
from pathlib import Path

from virtboard.tools import run

SECTOR = 512            # bytes
SECTORS = 32768         # of every disk: 16 MiB
PARTITION_START = 2048  # sector
FAT16 = 0x0E            # type of the partition: FAT16, addressed by sector


def make_whole(path: Path) -> Path:
    """A disk that is one file system as a whole."""
    return _make(path, 0)


def make_partitioned(path: Path) -> Path:
    """A disk whose first and only partition is a file system."""
    _make(path, PARTITION_START)
    entry = struct.pack("<B3sB3sII", 0, b"", FAT16, b"", PARTITION_START, SECTORS - PARTITION_START)
    with path.open("r+b") as disk:
        disk.seek(446)  # the partition table of a master boot record
        disk.write(entry.ljust(64, b"\0") + b"\x55\xAA")
    return path


def read_file(path: Path, name: str, partitioned: bool = False) -> bytes:
    """The content of a file on a disk that is not mounted."""
    offset = PARTITION_START * SECTOR if partitioned else 0
    return run("mtype", "-i", f"{path}@@{offset}", f"::{name}", stdout=subprocess.PIPE).stdout


def _make(path: Path, start: int) -> Path:
    path.write_bytes(b"")
    os.truncate(path, SECTORS * SECTOR)
    blocks = (SECTORS - start) * SECTOR // 1024
    run("mkfs.vfat", "-F", "16", f"--offset={start}", path, str(blocks), stdout=subprocess.DEVNULL)
    return path
