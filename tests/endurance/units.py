"""Unit after unit on one station: boards come and go, and so do their faults. Each unit gets the verdict that it deserves, and
one run in the records."""

import json
import os
import random
import re
import subprocess
import time
import tomllib
import urllib.request
from collections import Counter
from typing import Callable, Iterator, Optional

from support import OUTPUT, REPOSITORY, SECONDS, STATION, Board, Counts, Failure, Use, until, use_of

PORTS = 4
MOST_GROWTH = 8192  # KiB, of the station
PLANS = REPOSITORY / "apps/station/plans"
PLAN = PLANS / "demo.toml"
CHECKS = [check.get("name", check["kind"]) for check in tomllib.loads(PLAN.read_text())["check"]]
WORDS = {"PASS": "PASS", "FAIL": "FAIL", "COULD NOT RUN": "STOP"}  # of verdicts in the records
WARM_UP = 12  # units, before what the station uses is looked at
HEALTHY, ABSENT, GONE = "", "no board", "board goes"  # instead of a fault


def checks_that_fail() -> dict[str, set[str]]:
    """Of each fault of the simulated board: the checks of the demo's plan by name."""
    text = (PLANS / "DemoFaults.h").read_text()
    return {fault: set(re.findall(r'"([^"]+)"', checks)) for fault, checks in re.findall(r'\{"([a-z-]+)",\s*\{([^}]*)\}', text)}


class Serve:
    """`station serve`, with its page."""

    def __init__(self, ports: list[str]):
        log = OUTPUT / "station.log"
        arguments = [word for port in ports for word in ("--port", port)]
        environment = {**os.environ, "XDG_STATE_HOME": str(OUTPUT / "state"), "TESTMODE_RECORDS": ""}
        with log.open("wb") as output:
            self.process = subprocess.Popen([STATION, "serve", "--plan", PLAN, "--listen", "127.0.0.1:0", *arguments],
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, env=environment)
        self._environment = environment
        until(lambda: "page: http://" in log.read_text() or self.process.poll() is not None, "the page is served")
        if self.process.poll() is not None:
            raise Failure(log.read_text())
        self._origin = re.search(r"page: (http://[^/\s]+)", log.read_text()).group(1)

    def panels(self) -> list[dict]:
        with urllib.request.urlopen(f"{self._origin}/api/state") as answer:
            return json.load(answer)["panels"]

    def scan(self, unit: str, place: int) -> None:
        body = json.dumps({"text": unit, "panel": place + 1}).encode()
        headers = {"Origin": self._origin, "Content-Type": "application/json"}
        urllib.request.urlopen(urllib.request.Request(f"{self._origin}/api/scan", body, headers)).close()

    def runs(self) -> list[dict]:
        """All that is in the records."""
        history = subprocess.check_output([STATION, "history", "--all", "--json"], env=self._environment)
        return json.loads(history)["runs"]

    def end(self) -> None:
        self.process.terminate()
        self.process.wait()


class Place:
    """A port of the station, with one board after the other."""

    def __init__(self, number: int, station: Serve, faults: dict[str, set[str]]):
        self._number = number
        self._station = station
        self._faults = faults
        self._board: Optional[Board] = None
        self._story = HEALTHY
        self._last_result = 0  # after which the board goes
        self.unit: Optional[str] = None  # under test

    def begin(self, unit: str, story: str, last_result: int) -> None:
        """Connects a board, unless the story is that there is none, and scans its unit."""
        self.unit, self._story, self._last_result = unit, story, last_result
        if story != ABSENT:
            self._board = Board(OUTPUT / f"board{self._number + 1}", story if story in self._faults else "")
        self._station.scan(unit, self._number)

    def look(self, panel: dict) -> bool:
        """True when the unit has its verdict."""
        if self._story == GONE and len(panel["results"]) >= self._last_result:
            self.switch_off()
        if panel["status"] == "ended":
            self.switch_off()
            self.unit = None
        return self.unit is None

    def what_is_wrong(self, panel: dict) -> str:
        """With the verdict; nothing when the unit deserves it."""
        failed = {name for name, result in zip(CHECKS, panel["results"]) if result["result"] != "PASS"}
        carried_out = len(panel["results"])
        expected = self._faults.get(self._story, set())
        word = "FAIL" if expected else "PASS"
        is_right = panel["word"] == word and failed == expected and carried_out == len(CHECKS)
        if self._story in (ABSENT, GONE):
            has_passed = self._story == GONE and is_right  # before its board went
            is_right = has_passed or panel["word"] in ("FAIL", "STOP")
        story = self._story or "healthy"
        return "" if is_right else f"{panel['unit']}, {story}: {panel['word']} after {carried_out} checks, failed {failed}"

    def switch_off(self) -> None:
        if self._board:
            self._board.kill()
            self._board = None


class Line:
    """All of it, until `close`."""

    def __init__(self, counts: Counts, seed: int):
        self._counts = counts
        self._chance = random.Random(seed)
        self._faults = checks_that_fail()
        self._stories = self._tell_stories()
        self._station = Serve([str(OUTPUT / f"board{number + 1}/ttyS0") for number in range(PORTS)])
        self._places = [Place(number, self._station, self._faults) for number in range(PORTS)]
        self._verdicts: dict[str, str] = {}  # by unit

    def close(self) -> None:
        for place in self._places:
            place.switch_off()
        self._station.end()

    def use(self, descriptors: Optional[int] = None) -> Use:
        """Of the station, with that many descriptors as soon as it has so few: connections end a little later."""
        end = time.monotonic() + SECONDS
        while (use := use_of(self._station.process)).descriptors != descriptors and descriptors and time.monotonic() < end:
            time.sleep(0.1)
        return use

    def work(self, goes_on: Callable[[], bool]) -> None:
        """Tests units on all ports as long as that holds, and until the last one has ended."""
        while goes_on() or any(place.unit for place in self._places):
            panels = self._station.panels()
            for place, panel in zip(self._places, panels):
                if place.unit == panel.get("unit") and place.unit:
                    self._look(place, panel)
                elif goes_on():
                    self._counts.number += 1
                    place.begin(f"SN-{self._counts.number:05}", next(self._stories), self._chance.randrange(20))
            time.sleep(0.05)

    def compare_records(self) -> None:
        """Each unit has one run, with the verdict that was shown."""
        runs = Counter(run["unit"] for run in self._station.runs())
        for run in self._station.runs():
            if WORDS.get(run["verdict"]) != self._verdicts.get(run["unit"]):
                self._wrong(f"{run['unit']} is {self._verdicts.get(run['unit'])}, in the records {run['verdict']}")
        self._counts.lost += len(self._verdicts.keys() - runs.keys())
        self._counts.doubled += sum(runs.values()) - len(runs)

    def _look(self, place: Place, panel: dict) -> None:
        if place.look(panel):
            self._verdicts[panel["unit"]] = panel["word"]
            if wrong := place.what_is_wrong(panel):
                self._wrong(wrong)

    def _wrong(self, what: str) -> None:
        self._counts.wrong += 1
        self._counts.say(what)

    def _tell_stories(self) -> Iterator[str]:
        """What becomes of one board after the other: every fault in turn, and as many others."""
        while True:
            for fault in self._chance.sample(sorted(self._faults), len(self._faults)):
                yield fault
                yield self._chance.choice([HEALTHY, HEALTHY, ABSENT, GONE])


def run(minutes: float, seed: int) -> Counts:
    counts = Counts(f"units on {PORTS} ports", MOST_GROWTH)
    line = Line(counts, seed)
    try:
        line.work(lambda: counts.number < WARM_UP)
        counts.before = line.use()
        end = time.monotonic() + 60 * minutes
        line.work(lambda: time.monotonic() < end)
        counts.after = line.use(counts.before.descriptors)
        line.compare_records()
    finally:
        line.close()
    return counts
