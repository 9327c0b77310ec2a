"""The emulated machine: QEMU's process, its devices, and the host's ends of the board's lines."""

import os
import socket
import subprocess
import time
from pathlib import Path
from typing import Optional

from virtboard.picture import Picture
from virtboard.plug import LoopbackPlug
from virtboard.qmp import Monitor
from virtboard.shell import Shell

WIDTH, HEIGHT = 800, 480  # of the display, in pixels
BOOT_SECONDS = 300        # with a whole system on a disk, on a busy host
TOUCH_PANEL = "panel"     # its name in QEMU
TOUCH_RANGE = 0x8000      # of the touch panel's units, in both directions


class Machine:
    """A board that is on from construction to `power_off`. Used by one thread at a time.

    `station_line` is the station's end of the board's first serial port, `plug` sits on the second, `shell` runs
    commands on the board. `folder` gets what the board's console prints, in "console". With a `disk` the board runs the system
    on it in place of the one in `root_file_system`, which is in memory.
    """

    def __init__(self, kernel: Path, root_file_system: Path, folder: Path, disk: Optional[Path] = None):
        self._folder = folder
        ends = {name: socket.socketpair() for name in ("monitor", "host", "plug")}
        theirs = {name: pair[1].fileno() for name, pair in ends.items()}
        command = _qemu_command(kernel, root_file_system, disk, folder, theirs)
        with (folder / "qemu.log").open("wb") as log:
            self._qemu = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                          pass_fds=theirs.values())
        for pair in ends.values():
            pair[1].close()
        try:
            self._monitor = Monitor(ends["monitor"][0])
            self.plug = LoopbackPlug(ends["plug"][0])
            self.shell = Shell(ends["host"][0])
            self.station_line = self._find_station_line()
            # A line that is always open: nobody notices when a station comes or goes.
            self._held_line = open(self.station_line, "rb", buffering=0, opener=_open_line)
            self.shell.await_board(BOOT_SECONDS)
        except BaseException:
            self.power_off()
            raise

    def power_off(self) -> None:
        self._qemu.terminate()
        self._qemu.wait()

    def photograph(self) -> Picture:
        """What the display shows now."""
        path = self._folder / "photograph.ppm"
        self._monitor.execute("screendump", filename=str(path))
        picture = Picture.from_ppm(path.read_bytes())
        path.unlink()
        return picture

    def touch(self, x: int, y: int) -> None:
        """Puts the finger on a pixel of the display, and lifts it."""
        self._send_input(_position("x", x, WIDTH), _position("y", y, HEIGHT), _finger(True))
        time.sleep(0.05)  # as long as a quick finger rests
        self._send_input(_finger(False))

    def plug_disk(self, image: Path) -> None:
        """Plugs a USB disk in; the drivers take a moment to find it."""
        self._monitor.execute("blockdev-add", **{"node-name": image.stem, "driver": "raw",
                                                 "file": {"driver": "file", "filename": str(image)}})
        self._monitor.execute("device_add", driver="usb-storage", id=image.stem, drive=image.stem, bus="usb.0")

    def unplug_disk(self, image: Path) -> None:
        """Pulls a disk out; the drivers take a moment to notice."""
        self._monitor.execute("device_del", id=image.stem)
        self._monitor.await_event("DEVICE_DELETED")
        self._monitor.execute("blockdev-del", **{"node-name": image.stem})

    def plug_touch_panel(self) -> None:
        """Plugs the touch panel in again; the drivers take a moment to find it."""
        self._monitor.execute("device_add", driver="usb-tablet", id=TOUCH_PANEL, bus="usb.0")

    def unplug_touch_panel(self) -> None:
        """Pulls the touch panel out; the drivers take a moment to notice."""
        self._monitor.execute("device_del", id=TOUCH_PANEL)
        self._monitor.await_event("DEVICE_DELETED")

    def set_network_cable(self, is_in: bool) -> None:
        self._monitor.execute("set_link", name="network", up=is_in)

    def _send_input(self, *events: dict) -> None:
        self._monitor.execute("input-send-event", events=events)

    def _find_station_line(self) -> str:
        lines = self._monitor.execute("query-chardev")
        return next(line["filename"] for line in lines if line["label"] == "station").removeprefix("pty:")


def _open_line(path: str, flags: int) -> int:
    return os.open(path, flags | os.O_NOCTTY)


def _position(axis: str, pixel: int, pixels: int) -> dict:
    """The middle of a pixel, in the panel's units."""
    return {"type": "abs", "data": {"axis": axis, "value": (2 * pixel + 1) * TOUCH_RANGE // (2 * pixels)}}


def _finger(down: bool) -> dict:
    return {"type": "btn", "data": {"button": "left", "down": down}}


def _qemu_command(kernel: Path, root_file_system: Path, disk: Optional[Path], folder: Path,
                  sockets: dict[str, int]) -> list[str]:
    command = [
        "qemu-system-arm", "-M", "virt,highmem=off", "-cpu", "cortex-a15", "-smp", "2", "-m", "256",
        "-nodefaults", "-no-reboot", "-display", "none",
        "-kernel", str(kernel), "-initrd", str(root_file_system),
        "-append", "console=ttyAMA0 loglevel=4 panic=-1 net.ifnames=0" + (" root=/dev/vda" if disk else ""),
        "-chardev", f"file,id=console,path={folder}/console", "-serial", "chardev:console",
        "-chardev", f"socket,id=monitor,fd={sockets['monitor']}", "-mon", "chardev=monitor,mode=control",
        "-chardev", f"socket,id=host,fd={sockets['host']}", "-device", "virtio-serial-pci",
        "-device", "virtserialport,chardev=host",
        "-chardev", "pty,id=station", "-chardev", f"socket,id=plug,fd={sockets['plug']}",
        "-device", "pci-serial-2x,chardev1=station,chardev2=plug",
        "-device", f"virtio-gpu-pci,xres={WIDTH},yres={HEIGHT}",
        "-device", "qemu-xhci,id=usb", "-device", f"usb-tablet,bus=usb.0,id={TOUCH_PANEL}",
        "-netdev", "user,id=network", "-device", "virtio-net-pci,netdev=network,romfile=",
    ]
    if disk:
        command += ["-drive", f"if=none,id=disk,format=raw,file={disk}", "-device", "virtio-blk-pci,drive=disk"]
    return command
