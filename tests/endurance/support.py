"""What both parts of the endurance test share: the simulated board, and what a process uses."""

import os
import shutil
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, NamedTuple

REPOSITORY = Path(__file__).parents[2]
BUILD = REPOSITORY / "build/dev"
OUTPUT = REPOSITORY / "build/endurance"
STATION = BUILD / "apps/station/station"
SECONDS = 120  # in which anything happens even on a busy machine


class Failure(Exception):
    """The test cannot go on; the message says why."""


def until(condition: Callable[[], bool], what: str) -> None:
    end = time.monotonic() + SECONDS
    while not condition():
        if time.monotonic() > end:
            raise Failure(f"this did not come to pass: {what}")
        time.sleep(0.01)


class Use(NamedTuple):
    descriptors: int
    memory: int  # resident, in KiB


def use_of(process: subprocess.Popen) -> Use:
    folder = Path(f"/proc/{process.pid}")
    status = (folder / "status").read_text()
    return Use(len(list((folder / "fd").iterdir())), int(status.split("VmRSS:")[1].split()[0]))


@dataclass
class Counts:
    """What came out of one part of the test."""

    name: str
    most_growth: int  # of the memory, in KiB
    number: int = 0   # of exchanges, each of which has one answer
    lost: int = 0
    doubled: int = 0
    wrong: int = 0
    before: Use = Use(0, 0)
    after: Use = Use(0, 0)

    HEADINGS = ("", "number", "lost", "doubled", "wrong", "descriptors", "memory, KiB")

    def say(self, what: str) -> None:
        print(f"{self.name}: {what}", file=sys.stderr)

    def is_good(self) -> bool:
        return (self.number > 0 and self.lost + self.doubled + self.wrong == 0
                and self.after.descriptors == self.before.descriptors
                and self.after.memory - self.before.memory <= self.most_growth)

    def row(self) -> tuple[str, ...]:
        return (self.name, str(self.number), str(self.lost), str(self.doubled), str(self.wrong),
                f"{self.before.descriptors} to {self.after.descriptors}", f"{self.before.memory} to {self.after.memory}")


class Board:
    """A simulated board with the test application, on from construction to `switch_off`."""

    def __init__(self, folder: Path, fault: str = "", preload: str = ""):
        shutil.rmtree(folder, ignore_errors=True)
        command = [BUILD / "sim/simboard", "--dir", folder, *(["--fault", fault] if fault else []), "--",
                   BUILD / "apps/testapp/testapp", "--port", "/dev/ttyS0"]
        log = folder.with_suffix(".log")
        with log.open("wb") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                            env={**os.environ, "LD_PRELOAD": preload})
        self.port = folder / "ttyS0"
        until(lambda: b"waiting for commands" in log.read_bytes() or self.process.poll() is not None, f"{log} tells of a start")
        if self.process.poll() is not None:
            raise Failure(log.read_text())

    def switch_off(self) -> int:
        """Its exit code."""
        self.process.terminate()
        return self.process.wait()

    def kill(self) -> None:
        self.process.kill()
        self.process.wait()
