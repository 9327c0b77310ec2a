"""Switches the board on, has the station test it and an operator touch its display, and leaves the records."""

import shutil
import sys

from virtboard import BoardError, board, disks, packages
from virtboard.machine import Machine

OUTPUT = packages.BUILD / "demo-arm"


def main() -> int:
    try:
        return _run()
    except (BoardError, OSError) as error:
        print(f"demo: {error}", file=sys.stderr)
        return 2


def _run() -> int:
    shutil.rmtree(OUTPUT, ignore_errors=True)
    machine = board.switch_on(OUTPUT / "board")
    try:
        machine.plug_disk(disks.make_whole(OUTPUT / "board/disk0.img"))
        machine.shell.check("until [ -b /dev/sda ]; do usleep 20000; done")
        return _test(machine)
    finally:
        machine.power_off()


def _test(machine: Machine) -> int:
    code, _ = board.run_plan(machine, OUTPUT, "--unit", "DEMO-ARM", "--json", str(OUTPUT / "unit.json"),
                             "--junit", str(OUTPUT / "unit.xml"))
    machine.photograph().save_png(OUTPUT / "display.png")

    for name in ("syslog", "testapp.log"):
        (OUTPUT / name).write_bytes(machine.shell.run(f"cat /var/log/{name}").output)
    print(f"\nLeft in {OUTPUT.relative_to(packages.BUILD.parent)}: unit.json and unit.xml (the unit's record), display.png (a "
          "photograph of the display), syslog (the board's log), testapp.log (what the test application printed).")
    return code


if __name__ == "__main__":
    sys.exit(main())
