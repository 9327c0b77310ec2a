"""The board as the demo and the tests use it: built, switched on, with the station's program at its line."""

import subprocess
from pathlib import Path

from virtboard import image, kernel
from virtboard.machine import Machine
from virtboard.progress import step

STATION = image.REPOSITORY / "build/dev/apps/station/station"
PING_ADDRESS = "10.0.2.2"  # QEMU's own host on the user network


def switch_on(folder: Path, with_unit_tests: bool = False) -> Machine:
    """Builds whatever is missing and boots the board, with its files in `folder`."""
    root_file_system = image.build(with_unit_tests)
    folder.mkdir(parents=True, exist_ok=True)
    step("Booting the board")
    return Machine(kernel.image(), root_file_system, folder)


def station(machine: Machine, *arguments: str, **options) -> subprocess.Popen:
    """Starts the station's program at the board's line."""
    return subprocess.Popen([STATION, "--port", machine.station_line, *arguments], **options)
