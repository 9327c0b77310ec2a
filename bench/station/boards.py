"""Simulated boards for benchmarks of the station."""

import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile
import time

UNITS = 8
PLAN = pathlib.Path(__file__).parents[2] / "apps/station/plans/demo.toml"


def ticks(pid: int) -> float:
    """Seconds of a core that the process itself has used, in user and in system mode: proc(5). Its children's stand apart."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


@contextlib.contextmanager
def boards(build: pathlib.Path):
    """Yields their ports as soon as all of them wait for commands."""
    with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as running:
        ports = []
        for number in range(UNITS):
            board = f"{folder}/{number}"
            log = pathlib.Path(f"{folder}/{number}.log")
            with log.open("w") as output:
                process = subprocess.Popen([build / "sim/simboard", "--dir", board, "--",
                                            build / "apps/testapp/testapp", "--port", "/dev/ttyS0"], stdout=output)
            running.callback(process.wait)
            running.callback(process.terminate)
            while "waiting for commands" not in log.read_text():
                if process.poll() is not None:
                    sys.exit("a board ended")
                time.sleep(0.01)
            ports.append(f"{board}/ttyS0")
        yield ports
