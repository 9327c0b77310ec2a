"""QEMU's monitor protocol: one JSON object per line, over a socket."""

import json
import socket

from virtboard import BoardError


class Monitor:
    """Used by one thread at a time."""

    def __init__(self, connection: socket.socket):
        self._stream = connection.makefile("rw", encoding="utf-8")
        self._events: list[str] = []
        self._receive()  # the greeting
        self.execute("qmp_capabilities")

    def execute(self, command: str, **arguments):
        """Carries a command out and returns what it returns."""
        self._events.clear()
        self._stream.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self._stream.flush()
        while "event" in (answer := self._receive()):
            self._events.append(answer["event"])
        if "error" in answer:
            raise BoardError(f"{command}: {answer['error']['desc']}")
        return answer["return"]

    def await_event(self, name: str) -> None:
        """Waits for an event since the last command was sent."""
        while name not in self._events:
            self._events.append(self._receive().get("event", ""))

    def _receive(self) -> dict:
        line = self._stream.readline()
        if not line:
            raise BoardError("QEMU has ended: see qemu.log")
        return json.loads(line)
