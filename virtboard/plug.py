"""The loopback plug of the board's second serial port."""

import socket
import threading


class LoopbackPlug:
    """Sends back what it receives, while it is plugged in."""

    def __init__(self, line: socket.socket):
        self._line = line
        self.is_in = True
        self.received = b""  # all bytes so far, plugged in or not
        threading.Thread(target=self._echo, daemon=True).start()

    def _echo(self) -> None:
        while received := self._line.recv(4096):
            self.received += received
            if self.is_in:
                self._line.sendall(received)
