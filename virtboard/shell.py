"""Runs commands on the board, through rootfs/sbin/serve-host."""

import base64
import socket
from typing import NamedTuple

from virtboard import BoardError


class Result(NamedTuple):
    code: int      # exit code
    output: bytes  # standard output and standard error


class Shell:
    """Used by one thread at a time."""

    def __init__(self, connection: socket.socket):
        self._connection = connection
        self._stream = connection.makefile("rb")

    def await_board(self, seconds: float) -> None:
        """Waits until the board's own start is over."""
        self._connection.settimeout(seconds)
        if self._read_line() != "ready":
            raise BoardError("the board's first words are not understood")

    def run(self, command: str, seconds: float = 30) -> Result:
        """Carries out a shell command of any length and returns when it has ended."""
        self._connection.settimeout(seconds)
        self._connection.sendall(base64.b64encode(command.encode()) + b"\n")
        code, size = self._read_line().split()
        return Result(int(code), self._stream.read(int(size)))

    def check(self, command: str, seconds: float = 30) -> str:
        """Carries out a command that must succeed and returns its output."""
        result = self.run(command, seconds)
        if result.code != 0:
            raise BoardError(f"{command}: exit code {result.code}\n{result.output.decode(errors='replace')}")
        return result.output.decode(errors="replace")

    def _read_line(self) -> str:
        try:
            line = self._stream.readline()
        except TimeoutError:
            raise BoardError("the board does not answer") from None
        if not line:
            raise BoardError("the board is off: see console")
        return line.decode().strip()
