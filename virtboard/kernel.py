"""The board's kernel modules: ours, built against Debian's headers, and those of Debian's kernel that the board needs."""

import os
import re
import shutil
import subprocess
from pathlib import Path

from virtboard import packages

SOURCE = Path(__file__).parent / "module"
CROSS_COMPILE = "arm-linux-gnueabihf-"
DRIVERS = [
    "virtio_pci", "virtio_console", "virtio_gpu", "virtio_net", "xhci_pci", "usb_storage", "sd_mod", "vfat", "nls_cp437",
    "nls_ascii", "usbhid", "hid_generic", "evdev",
]
OTHER_PROCESSORS = {"crct10dif-arm-ce"}  # what only processors with further instructions load


def build_module(root: Path, folder: Path) -> Path:
    """Builds our module in `folder` and returns its file."""
    folder.mkdir(parents=True, exist_ok=True)
    for source in SOURCE.iterdir():
        copy = folder / source.name
        if not copy.exists() or copy.read_bytes() != source.read_bytes():
            shutil.copyfile(source, copy)
    headers = root / "usr/src" / f"linux-headers-{packages.kernel_release(root)}"
    subprocess.run(["make", "--silent", f"-j{os.cpu_count()}", "-C", headers, f"M={folder}", "ARCH=arm",
                    f"CROSS_COMPILE={CROSS_COMPILE}", "KCFLAGS=-Werror", "modules"], check=True)
    return folder / "virtboard.ko"


def driver_files(root: Path) -> list[Path]:
    """The files of Debian's modules that the board needs, in the order in which they load."""
    release = packages.kernel_release(root)
    subprocess.run(["depmod", "--basedir", root, release], check=True)
    show = subprocess.run(["modprobe", "--dirname", root, "--set-version", release, "--show-depends", "--all", *DRIVERS],
                          check=True, text=True, stdout=subprocess.PIPE).stdout
    files = (Path(path) for path in re.findall(r"^insmod (\S+)", show, re.MULTILINE))
    return list(dict.fromkeys(file for file in files if file.stem not in OTHER_PROCESSORS))
