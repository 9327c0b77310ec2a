"""Says on standard error what is being done, and how far it is: the first run takes minutes."""

import re
import subprocess
import sys
import time

from virtboard import BoardError
from virtboard.tools import ENVIRONMENT

EVERY_SECONDS = 10
_start = time.monotonic()


def step(what: str) -> None:
    """Begins a step; the seconds are those since the program's start."""
    print(f"{time.monotonic() - _start:4.0f} s  {what} ...", file=sys.stderr, flush=True)


def build(*command, **options) -> None:
    """Runs a Ninja build that must succeed. Prints its progress every few seconds, and compilers' messages at once."""
    with subprocess.Popen(command, env=ENVIRONMENT, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          **options) as process:
        told = time.monotonic()
        for line in process.stdout:
            done = re.match(r"\[(\d+)/(\d+)\] ", line)
            if done and time.monotonic() - told > EVERY_SECONDS:
                step(f"  {done.group(1)} of {done.group(2)} files")
                told = time.monotonic()
            elif not done and not line.startswith("ninja: no work"):
                print(line, end="", file=sys.stderr)
    if process.returncode != 0:
        raise BoardError(f"{' '.join(map(str, command))} failed with exit code {process.returncode}")
