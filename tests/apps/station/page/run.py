"""Uses the operator's page in Chromium, with simulated boards: all tests of this folder, or the named ones.

usage: STATION_PROGRAM=... SIMBOARD_PROGRAM=... TESTAPP_PROGRAM=... /usr/bin/python3 run.py [TEST]...
TEST is, for instance, test_bench or test_bench.BenchTest.test_questions.
Exit codes: 0 all passed, 1 one failed, 77 Chromium or Selenium is not installed (scripts/setup installs them).
"""

import shutil
import sys
import unittest
from importlib.util import find_spec
from pathlib import Path

SKIPPED = 77


def main() -> int:
    if not (shutil.which("chromium") and shutil.which("chromedriver") and find_spec("selenium")):
        print("skipped: chromium, chromium-driver or python3-selenium is not installed", file=sys.stderr)
        return SKIPPED
    tests = sys.argv[1:] or ["discover", "--start-directory", str(Path(__file__).parent)]
    program = unittest.main(module=None, argv=["run.py", *tests], verbosity=2, exit=False)
    return 0 if program.result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
