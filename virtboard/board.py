"""The board as the demo and the tests use it: built, switched on, with the station's program at its line."""

import os
import subprocess
import time
from pathlib import Path
from typing import Callable, Optional

from virtboard import image, kernel
from virtboard.finger import Operator
from virtboard.machine import Machine
from virtboard.meter import Meter
from virtboard.progress import step

STATION = image.REPOSITORY / "build/dev/apps/station/station"
PLAN = image.REPOSITORY / "apps/station/plans/demo.toml"
PING_ADDRESS = "10.0.2.2"  # QEMU's own host on the user network


def switch_on(folder: Path, with_unit_tests: bool = False, disk: Optional[Path] = None) -> Machine:
    """Builds whatever is missing and boots the board, with its files in `folder`; with a `disk` the system that is on it."""
    root_file_system = image.build(with_unit_tests)
    folder.mkdir(parents=True, exist_ok=True)
    step("Booting the board")
    return Machine(kernel.image(), root_file_system, folder, disk)


def run_plan(machine: Machine, folder: Path, *arguments: str, plan: Path = PLAN, beside: Callable[[], None] = lambda: None,
             **options) -> tuple[int, list[tuple[int, int]]]:
    """Has the station carry a plan out, by default the demo's, with an operator and instruments at the board: its exit code, and
    where the operator has touched the display. Calls `beside` again and again meanwhile."""
    meter = Meter(machine, folder / "meter")
    operator = Operator(machine)
    environment = {**os.environ, "TESTMODE_METER": str(meter.path.resolve()),
                   "XDG_STATE_HOME": str((folder / "state").resolve()),  # the user's own records are not touched
                   "TESTMODE_RECORDS": ""}
    run = station(machine, "run", "--plan", str(plan), "--set", f"host={PING_ADDRESS}", "--set", "interface=eth0", *arguments,
                  env=environment, **options)
    try:
        while run.poll() is None:
            meter.serve()
            operator.look()
            beside()
            time.sleep(0.02)
    finally:
        run.kill()  # unless it has ended
        run.wait()
        meter.close()
    return run.returncode, operator.touched


def station(machine: Machine, *arguments: str, **options) -> subprocess.Popen:
    """Starts the station's program at the board's line."""
    return subprocess.Popen([STATION, "--port", machine.station_line, *arguments], **options)
