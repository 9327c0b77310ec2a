"""Faults that come in the middle of a run, between two checks of the demo's plan: exactly those checks fail that are named for
them, and when the fault has gone, the next run passes."""

import json
import subprocess
import tomllib
from datetime import datetime, timedelta
from pathlib import Path
from typing import Callable, Optional

from support import OUTPUT, BoardTest
from virtboard import board, disks

FOLDER = OUTPUT / "faults"
# The station waits here until somebody at the board has placed the fault.
PLACE_FAULT = """
kind = "program"
name = "fault"
command = ["sh", "-c", "touch wanted; until [ -e placed ]; do sleep 0.05; done"]
timeout = 120

"""
LIST = "[[check]]"


def name_of(check: str) -> str:
    entry = tomllib.loads(LIST + check)["check"][0]
    return entry.get("name", entry["kind"])


def write_plan(name: str, between: Optional[tuple[str, str]] = None) -> Path:
    """The demo's plan with time enough for the operator on a busy host, and a place for a fault between two checks."""
    text = board.PLAN.read_text().replace('"./demo-meter"', json.dumps(str(board.PLAN.parent / "demo-meter")))
    head, *checks = text.replace("timeout = 10 ", "timeout = 100 ").split(LIST)
    if between:
        names = [name_of(check) for check in checks]
        place = list(zip(names, names[1:])).index(between) + 1
        checks.insert(place, PLACE_FAULT)
    plan = FOLDER / name
    plan.write_text(LIST.join([head, *checks]))
    return plan


class FaultTest(BoardTest):
    def setUp(self):
        super().setUp()
        FOLDER.mkdir(exist_ok=True)
        self.image = disks.make_whole(OUTPUT / "faults.img")
        self.plug_disk(self.image)

    def failed_checks(self, plan: Path, beside: Callable[[], None] = lambda: None) -> set[str]:
        """The checks that did not pass, when the plan was carried out to its end."""
        record_file = FOLDER / "unit.json"
        code, _ = board.run_plan(self.machine, FOLDER, "--json", str(record_file), "--overwrite", plan=plan, beside=beside,
                                 stdout=subprocess.DEVNULL)
        record = json.loads(record_file.read_text())
        failed = {check["name"] for check in record["checks"] if check["result"] != "PASS"}
        self.assertEqual((code, record["verdict"]), (1, "FAIL") if failed else (0, "PASS"), record)
        return failed

    def check(self, between: tuple[str, str], failing: set[str], come: Callable[[], None], go: Callable[[], None]) -> None:
        """Carries the plan out with the fault coming between two checks, and once more when it has gone."""
        wanted, placed = FOLDER / "wanted", FOLDER / "placed"
        for file in (wanted, placed):
            file.unlink(missing_ok=True)

        def place_fault():
            if wanted.exists() and not placed.exists():
                come()
                placed.touch()

        try:
            try:
                failed = self.failed_checks(write_plan("fault.toml", between), place_fault)
            finally:
                if placed.exists():
                    go()
            self.assertEqual(failed, failing)
            self.assertEqual(self.failed_checks(write_plan("healthy.toml")), set(), "the fault has gone")
        except AssertionError:
            self.restart_testapp("KILL")  # it may wait for touches that will not come
            raise

    def pull_disk(self) -> None:
        self.machine.unplug_disk(self.image)
        self.on_board("while [ -b /dev/sda ]; do usleep 20000; done")

    def put_disk(self) -> None:
        self.machine.plug_disk(self.image)
        self.on_board("until [ -b /dev/sda ]; do usleep 20000; done")

    def on_disk(self, command: str) -> None:
        self.on_board(f"mkdir -p /tmp/disk && mount -t vfat /dev/sda /tmp/disk && {{ cd /tmp/disk; {command}; cd /; }};"
                      " umount /tmp/disk")

    def test_no_disk(self):
        self.check(("pwm", "disk"), {"disk", "file"}, self.pull_disk, self.put_disk)

    def test_the_disk_is_pulled_out(self):
        self.check(("disk", "file"), {"file"}, self.pull_disk, self.put_disk)

    def test_the_disk_is_full(self):
        self.check(("disk", "file"), {"file"},
                   lambda: self.on_disk("rm -f testmode.bin; dd if=/dev/zero of=large bs=4k; dd if=/dev/zero of=small bs=512"),
                   lambda: self.on_disk("rm large small"))

    def test_the_network_cable_is_pulled_out(self):
        def put_in():
            self.machine.set_network_cable(True)
            self.on_board(f"until ping -c 1 -W 1 {board.PING_ADDRESS}; do :; done")

        self.check(("file", "ping"), {"ping"}, lambda: self.machine.set_network_cable(False), put_in)

    def test_the_touch_panel_is_pulled_out(self):
        def pull():
            self.machine.unplug_touch_panel()
            self.on_board("while [ -e /dev/touchscreen/ucb1x00 ]; do usleep 20000; done")

        def put():
            self.machine.plug_touch_panel()
            self.on_board("link-touch-panel")

        self.check(("noise", "touch"), {"touch"}, pull, put)

    def test_the_plug_of_the_second_serial_line_is_pulled_out(self):
        def plug(is_in: bool):
            self.machine.plug.is_in = is_in

        self.check(("version", "loopback"), {"loopback"}, lambda: plug(False), lambda: plug(True))

    def test_the_clock_is_set_back(self):
        def set_clock(moment: datetime):
            self.on_board(f"date -s '{moment:%Y-%m-%d %H:%M:%S}' && hwclock -u -w")

        self.check(("set_clock", "read_clock"), {"read_clock"}, lambda: set_clock(datetime.now() - timedelta(hours=1)),
                   lambda: set_clock(datetime.now()))
