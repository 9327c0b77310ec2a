"""Builds and boots the board, and runs tests of this folder on it: all, or the named ones.

usage: PYTHONPATH=. python3 tests/virtboard/run.py [TEST]...   such as test_clock or test_disk.DiskTest.test_no_disk
Exit codes: 0 all passed, 1 one failed, 2 the board cannot be built or does not boot.
"""

import sys
import unittest
from pathlib import Path

import support
from virtboard import BoardError, board


def main() -> int:
    names = sys.argv[1:]
    has_units = not names or any("test_units" in name for name in names)
    print("On two cores the first run takes about 6 minutes, a later one that builds little 2.", file=sys.stderr)
    try:
        support.machine = board.switch_on(support.OUTPUT, has_units)
    except (BoardError, OSError) as error:
        print(f"The emulated board cannot be built or does not boot: {error}", file=sys.stderr)
        return 2
    try:
        tests = names or ["discover", "--start-directory", str(Path(__file__).parent)]
        program = unittest.main(module=None, argv=["run.py", *tests], verbosity=2, exit=False)
        return 0 if program.result.wasSuccessful() else 1
    finally:
        support.machine.power_off()


if __name__ == "__main__":
    sys.exit(main())
