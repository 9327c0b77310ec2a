"""Counts what is lost, doubled or wrong, and what is used up, on the simulated board, and prints a table.

usage: run.py MINUTES [FRAMES]
Exit codes: 0 nothing, 1 something, 2 it could not run.
"""

import shutil
import sys
import time

import frames
import units
from support import OUTPUT, Counts, Failure


def show(parts: list[Counts]) -> None:
    rows = [Counts.HEADINGS, *(part.row() for part in parts)]
    widths = [max(len(cell) for cell in column) for column in zip(*rows)]
    for row in rows:
        print(row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(row[1:], widths[1:])), sep="   ")


def main(minutes: float, count: int = 100_000) -> int:
    seed = int(time.time())
    print(f"{count} frames, then units for {minutes:g} minutes, chance begins with {seed}", file=sys.stderr)
    shutil.rmtree(OUTPUT, ignore_errors=True)
    OUTPUT.mkdir(parents=True)
    try:
        parts = [frames.run(count, seed), units.run(minutes, seed)]
    except (Failure, OSError) as error:
        print(f"endurance: {error}", file=sys.stderr)
        return 2
    show(parts)
    is_good = all(part.is_good() for part in parts)
    if not is_good:
        print(f"This is not as it should be; see {OUTPUT}.")
        return 1
    print("Nothing is lost, doubled or wrong, and nothing is used up.")
    shutil.rmtree(OUTPUT)
    return 0


if __name__ == "__main__":
    sys.exit(main(float(sys.argv[1]), *map(int, sys.argv[2:])))
