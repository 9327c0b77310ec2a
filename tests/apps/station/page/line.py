"""A production line for the tests: simulated boards, and `station serve` in front of them."""

import os
import re
import subprocess
import tempfile
import time
from pathlib import Path

# The programs that are tested, where CMake has built them.
STATION, SIMBOARD, TESTAPP = (os.environ[name] for name in ("STATION_PROGRAM", "SIMBOARD_PROGRAM", "TESTAPP_PROGRAM"))
SECONDS = 120  # in which anything happens even on a busy machine

PLAN = """
name = "Gateway board"
version = "3"
settings = { host = "127.0.0.1", interface = "lo", screen = "800x480", file = "/mnt/usb/testmode.bin" }
check = [
  { kind = "version" },
  { kind = "loopback" },
  { kind = "outputs", pattern = [0xA5, 0x3C] },
  { kind = "inputs", hint = "Is each output wired to the input of its number?" },
  { kind = "program", name = "supply", command = ["./supply"], timeout = 600, \
    values = [{ name = "voltage", unit = "V", least = 3.2, most = 3.4 }] },
  { kind = "disk" },
  { kind = "file" },
  { kind = "ping" },
  QUESTION
  { kind = "confirm" },
]
"""
QUESTION = '{ kind = "picture", name = "white screen", picture = "white", ask = "Is the whole screen white, without a spot?" },'

# An instrument that measures only when nobody holds its unit, and each unit a little differently.
SUPPLY = """#!/bin/sh
while [ -e "hold-$TESTMODE_UNIT" ]; do sleep 0.05; done
chance=$(printf %s "$TESTMODE_UNIT" | cksum | cut -d' ' -f1)
printf '{"voltage": 3.%d}' $((270 + chance % 20 + chance / 20 % 20 + chance / 400 % 20))
"""


def until(condition, what: str):
    """Waits for the condition and returns what it is."""
    end = time.monotonic() + SECONDS
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"this did not come to pass: {what}")
        time.sleep(0.02)
    return result


class Line:
    """Boards are numbered from 1; `faults` names what is broken on some. With `asks` the plan has a question."""

    def __init__(self, boards: int = 1, faults: dict[int, str] | None = None, asks: bool = False):
        self._home = tempfile.TemporaryDirectory()
        self.folder = Path(self._home.name)
        self._environment = {**os.environ, "XDG_STATE_HOME": str(self.folder / "state"), "TESTMODE_RECORDS": ""}
        (self.folder / "plan.toml").write_text(PLAN.replace("QUESTION", QUESTION if asks else ""))
        (self.folder / "supply").write_text(SUPPLY)
        (self.folder / "supply").chmod(0o755)
        self._processes: list[subprocess.Popen] = []
        self.ports = [f"ttyUSB{number}" for number in range(boards)]
        for number, port in enumerate(self.ports, 1):
            self._start_board(number, (faults or {}).get(number))
            (self.folder / port).symlink_to(f"board{number}/ttyS0")
        self.url = self._start_station("127.0.0.1:0")

    def _run(self, log: str, pattern: str, *command: str) -> str:
        """Starts a program, and returns what it prints that matches the pattern."""
        with open(self.folder / log, "w") as file:
            process = subprocess.Popen(command, cwd=self.folder, env=self._environment, stdin=subprocess.DEVNULL, stdout=file,
                                       stderr=subprocess.STDOUT)
        self._processes.append(process)
        printed = (self.folder / log).read_text
        until(lambda: re.search(pattern, printed()) or process.poll() is not None, f"{log} holds {pattern}")
        if not (found := re.search(pattern, printed())):
            self.close()
            raise AssertionError(printed())
        return found[0]

    def _start_board(self, number: int, fault: str | None) -> None:
        broken = ["--fault", fault] if fault else []
        self._run(f"board{number}.log", "waiting for commands", SIMBOARD, "--dir", f"board{number}", *broken, "--",
                  TESTAPP, "--port", "/dev/ttyS0")

    def _start_station(self, address: str) -> str:
        ports = [word for port in self.ports for word in ("--port", port)]
        return self._run("station.log", r"http://\S+/", STATION, "serve", *ports, "--plan", "plan.toml", "--listen", address)

    @property
    def address(self) -> tuple[str, int]:
        host, port = self.url.removeprefix("http://").rstrip("/").split(":")
        return host, int(port)

    def command(self, *words: str, check: bool = True) -> str:
        """What another command of the station prints; it uses the same records. With `check` it has to end well."""
        return subprocess.run([STATION, *words], cwd=self.folder, env=self._environment, check=check, text=True,
                              capture_output=True).stdout

    def hold(self, unit: str) -> None:
        """The unit's test stands at the check "supply" until it is released."""
        (self.folder / f"hold-{unit}").touch()

    def release(self, unit: str) -> None:
        (self.folder / f"hold-{unit}").unlink()

    def kill_station(self) -> None:
        station = self._processes.pop()
        station.kill()
        station.wait()

    def restart_station(self) -> None:
        self._start_station("{}:{}".format(*self.address))

    def close(self) -> None:
        for process in reversed(self._processes):
            process.terminate()
            process.wait()
        self._home.cleanup()
