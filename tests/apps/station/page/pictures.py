"""Takes the README's pictures of the operator's page.

usage: STATION_PROGRAM=... SIMBOARD_PROGRAM=... TESTAPP_PROGRAM=... /usr/bin/python3 pictures.py DIRECTORY
Writes page-bench.png and page-yield.png, and both once more for dark screens (-dark.png), each at most 150 KB.
"""

import contextlib
import sqlite3
import sys
import time
from pathlib import Path

from browser import Browser
from line import Line, until

MOST_BYTES = 150 * 1024
FAULTS = {6: "inputs-stuck", 7: "disk-missing", 8: "loopback-cut"}
FAULTY = (3, 0, 1, 0, 2, 0, 0, 1, 0, 1, 0)  # how many of these boards are used on each day
DAY = 24 * 3600 * 1000  # milliseconds
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


def test(line: Line, ports: list[str], units: list[str]) -> None:
    options = [word for port, unit in zip(ports, units) for word in ("--port", port, "--unit", unit)]
    line.command("run", "--plan", "plan.toml", *options, check=False)


def show_yield(browser: Browser, line: Line) -> None:
    """Some days of units; those that fail are repaired: they are tested once more, on a board without a fault."""
    good, faulty = line.ports[:5], line.ports[5:]
    for day, count in enumerate(FAULTY):
        for part in range(2):
            units = [f"SN-{417 + 20 * day + 10 * part + place:04}" for place in range(8)]
            test(line, good + faulty[:count * part], units)
        if count > 0:
            test(line, good, units[5:5 + count])
        with sqlite3.connect(line.folder / "state/testmode/records.db") as records:
            records.execute("update run set started = started - ?, ended = ended - ? where started > ?",
                            (*[(len(FAULTY) - day) * DAY] * 2, 1000 * time.time() - DAY / 2))
    browser.driver.get(line.url + "yield.html")
    until(lambda: browser.texts("#values td"), "the records answer")


def main(directory: Path) -> None:
    browser = Browser()
    try:
        for name, height, show, line in (
                ("page-bench", 720, show_bench, Line(boards=4, faults={2: "inputs-stuck"}, asks=True)),
                ("page-yield", 1200, show_yield, Line(boards=8, faults=FAULTS))):
            with contextlib.closing(line):
                browser.resize(1280, height)
                show(browser, line)
                take(browser, directory / name)
    finally:
        browser.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(Path(sys.argv[1]).resolve())
