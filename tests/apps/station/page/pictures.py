"""Takes the README's pictures of the operator's page.

usage: STATION_PROGRAM=... SIMBOARD_PROGRAM=... TESTAPP_PROGRAM=... /usr/bin/python3 pictures.py DIRECTORY
Writes page-bench.png and page-bench-dark.png, each at most 150 KB.
"""

import sys
from pathlib import Path

from browser import Browser
from line import Line, until

MOST_BYTES = 150 * 1024
QUESTION = "Is the whole screen white, without a spot?"


def take(browser: Browser, path: Path) -> None:
    for scheme, suffix in (("light", ""), ("dark", "-dark")):
        browser.prefer(scheme)
        file = path.with_name(f"{path.name}{suffix}.png")
        browser.driver.save_screenshot(str(file))
        if file.stat().st_size > MOST_BYTES:
            raise SystemExit(f"{file} has {file.stat().st_size} bytes")


def show_bench(browser: Browser, line: Line) -> None:
    """One unit passed, one failed, one is asked about, one is under test."""
    units = ["SN-0417", "SN-0418", "SN-0419", "SN-0420"]
    line.hold(units[3])
    browser.open_bench(line.url)
    for number, unit in enumerate(units, 1):
        until(lambda: f"port {number}," in browser.texts("#target")[0], f"port {number} is next")
        browser.scan(unit)
    for number in (1, 2, 3):
        browser.panel(number).until_asked(QUESTION)
    until(lambda: browser.panel(4).texts(".now") == ["supply"], "the last unit is under test")
    for number, word in ((1, "PASS"), (2, "FAIL")):
        browser.panel(number).press("Yes")
        browser.panel(number).until(f"ended {word}")


def main(directory: Path) -> None:
    browser = Browser()
    line = Line(boards=4, faults={2: "inputs-stuck"}, asks=True)
    try:
        browser.resize(1280, 720)
        show_bench(browser, line)
        take(browser, directory / "page-bench")
    finally:
        line.close()
        browser.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(Path(sys.argv[1]).resolve())
