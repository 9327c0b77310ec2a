"""QEMU's monitor protocol: one JSON object per line, over a socket."""

import json
import socket

from virtboard import BoardError


class Monitor:
    """Used by one thread at a time."""

    def __init__(self, connection: socket.socket):
        self._stream = connection.makefile("rw", encoding="utf-8")
        self._receive()  # the greeting
        self.execute("qmp_capabilities")

    def execute(self, command: str, **arguments):
        """Carries a command out and returns what it returns."""
        self._stream.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self._stream.flush()
        while "event" in (answer := self._receive()):
            pass
        if "error" in answer:
            raise BoardError(f"{command}: {answer['error']['desc']}")
        return answer["return"]

    def _receive(self) -> dict:
        line = self._stream.readline()
        if not line:
            raise BoardError("QEMU has ended: see qemu.log")
        return json.loads(line)
