"""The board's kernel: Debian's, with the modules that the board needs, and our own module built against its headers."""

import os
import re
import shutil
from pathlib import Path

from virtboard import BoardError, packages
from virtboard.progress import step
from virtboard.tools import output_of, run

SOURCE = Path(__file__).parent / "module"
FOLDER = packages.BUILD / "virtboard/kernel"
CROSS_COMPILE = "arm-linux-gnueabihf-"
DRIVERS = [
    "virtio_pci", "virtio_console", "virtio_gpu", "virtio_net", "virtio_blk", "xhci_pci", "usb_storage", "sd_mod", "ext4", "vfat",
    "nls_cp437", "nls_ascii", "usbhid", "hid_generic", "evdev",
]
OTHER_PROCESSORS = {"crct10dif-arm-ce"}  # modules for instructions that the board's processor lacks


def fetch() -> None:
    """Downloads Debian's kernel, its headers and busybox into FOLDER, unless they are there."""
    if packages.unpack("armhf", FOLDER, _choose, "kernel, headers, busybox"):
        # The headers' makefile includes their common part by its installed path.
        makefile = next(FOLDER.glob("usr/src/linux-headers-*-armmp/Makefile"))
        makefile.write_text(makefile.read_text().replace("include /usr", f"include {FOLDER}/usr"))


def image() -> Path:
    return next(FOLDER.glob("boot/vmlinuz-*"))


def build_module() -> Path:
    """Builds our module and returns its file."""
    step("Building the kernel module")
    folder = packages.BUILD / "virtboard/module"
    folder.mkdir(parents=True, exist_ok=True)
    for source in SOURCE.iterdir():
        copy = folder / source.name
        if not copy.exists() or copy.read_bytes() != source.read_bytes():
            shutil.copyfile(source, copy)
    run("make", "--silent", f"-j{os.cpu_count()}", "-C", FOLDER / f"usr/src/linux-headers-{_release()}", f"M={folder}",
        "ARCH=arm", f"CROSS_COMPILE={CROSS_COMPILE}", "KCFLAGS=-Werror", "modules")
    return folder / "virtboard.ko"


def driver_files() -> list[Path]:
    """The files of Debian's modules that the board needs, in the order in which they load."""
    run("depmod", "--basedir", FOLDER, _release())
    show = output_of("modprobe", "--dirname", FOLDER, "--set-version", _release(), "--show-depends", "--all", *DRIVERS)
    files = (Path(path) for path in re.findall(r"^insmod (\S+)", show, re.MULTILINE))
    return list(dict.fromkeys(file for file in files if file.stem not in OTHER_PROCESSORS))


def _choose(apt: packages.Apt) -> list[str]:
    """Kernel, headers, and the tools of the kernel's build for this host, at the newest version that all of them have."""
    for version, depends in apt.versions("linux-image-armmp"):
        release = re.search(r"linux-image-(\S+)-armmp", depends).group(1)
        series = ".".join(release.split(".")[:2])
        names = [f"linux-image-{release}-armmp", f"linux-headers-{release}-armmp", f"linux-headers-{release}-common",
                 f"linux-kbuild-{series}:{apt.host}"]
        if all(apt.has(name, version) for name in names):
            return [f"{name}={version}" for name in names] + ["busybox-static"]
    raise BoardError("the package lists hold no kernel for the board with its headers: try again later")


def _release() -> str:
    """The kernel's release, such as 6.1.0-1-armmp."""
    return image().name.removeprefix("vmlinuz-")
