"""Debian's packages for the board: kernel, libraries and tools, downloaded and unpacked into the build folder.

apt works on lists and a package state of its own here: the host's packages and its architectures stay as they are.
"""

import re
import shutil
import subprocess
import sys
from pathlib import Path

ARCHITECTURE = "armhf"
LIBRARIES = ["libc6", "libgcc-s1", "libstdc++6", "libts0", "libts-dev", "busybox-static"]


class PackageError(Exception):
    """The packages cannot be had."""


def ensure(folder: Path) -> Path:
    """Has the packages in `folder` and returns the root file system they are unpacked into. Does nothing, and needs
    no network, when they are there already."""
    root, stamp = folder / "root", folder / "stamp"
    if not stamp.exists() or stamp.read_text() != _stamp():
        stamp.unlink(missing_ok=True)
        _fetch(Apt(folder), root)
        stamp.write_text(_stamp())
    return root


def kernel_release(root: Path) -> str:
    """The release of the unpacked kernel, such as 6.1.0-1-armmp."""
    return next(root.glob("boot/vmlinuz-*")).name.removeprefix("vmlinuz-")


def _stamp() -> str:
    return " ".join(LIBRARIES)


def _fetch(apt: "Apt", root: Path) -> None:
    print("Downloading the board's Debian packages ...", file=sys.stderr)
    shutil.rmtree(root, ignore_errors=True)
    apt.update()
    for package in apt.download(LIBRARIES + _kernel_packages(apt)):
        _run(["dpkg-deb", "--extract", str(package), str(root)])
    _relocate_headers(root)


def _kernel_packages(apt: "Apt") -> list[str]:
    """Kernel, headers, and the tools of the kernel's build for this host, at the newest version that all of them have."""
    for version, depends in apt.versions("linux-image-armmp"):
        release = re.search(r"linux-image-(\S+)-armmp", depends).group(1)
        series = ".".join(release.split(".")[:2])
        names = [f"linux-image-{release}-armmp", f"linux-headers-{release}-armmp", f"linux-headers-{release}-common",
                 f"linux-kbuild-{series}:{apt.host}"]
        if all(apt.has(name, version) for name in names):
            return [f"{name}={version}" for name in names]
    raise PackageError("the package lists hold no kernel for the board together with its headers: try again later")


def _relocate_headers(root: Path) -> None:
    """The headers' makefile names their common part by its place in an installed system."""
    for makefile in root.glob("usr/src/linux-headers-*-armmp/Makefile"):
        makefile.write_text(makefile.read_text().replace("include /usr", f"include {root}/usr"))


def _run(command: list[str], **options) -> subprocess.CompletedProcess:
    try:
        return subprocess.run(command, check=True, text=True, **options)
    except subprocess.CalledProcessError as error:
        raise PackageError(f"{' '.join(command[:3])} ... failed with exit code {error.returncode}") from None


class Apt:
    """apt for the board's architecture and the host's own, with everything it writes below one folder."""

    def __init__(self, folder: Path):
        self.host = _run(["dpkg", "--print-architecture"], stdout=subprocess.PIPE).stdout.strip()
        self._archives = folder / "archives"
        state = folder / "apt"
        for place in (self._archives, state / "lists/partial", state / "cache/archives/partial"):
            place.mkdir(parents=True, exist_ok=True)
        (state / "status").touch()  # nothing is installed
        settings = {
            "APT::Architecture": ARCHITECTURE, "APT::Architectures": f"{ARCHITECTURE},{self.host}",
            "APT::Sandbox::User": "", "Dir::State": state, "Dir::State::Lists": state / "lists",
            "Dir::State::status": state / "status", "Dir::Cache": state / "cache",
        }
        self._options = [f"-o={key}={value}" for key, value in settings.items()]

    def update(self) -> None:
        """Fetches the package lists. One that is momentarily unavailable may be one that is not needed."""
        update = subprocess.run(["apt-get", *self._options, "-qq", "update"], check=False, text=True,
                                stderr=subprocess.PIPE)
        if update.returncode != 0:
            print(f"{update.stderr.strip()}\nGoing on with the package lists at hand.", file=sys.stderr)

    def versions(self, name: str) -> list[tuple[str, str]]:
        """The versions of a package, newest first, each with its dependencies."""
        show = _run(["apt-cache", *self._options, "show", name], stdout=subprocess.PIPE).stdout
        field = lambda key, record: re.search(rf"^{key}: (.*)$", record, re.MULTILINE).group(1)
        return [(field("Version", record), field("Depends", record)) for record in show.strip().split("\n\n")]

    def has(self, name: str, version: str) -> bool:
        show = subprocess.run(["apt-cache", *self._options, "show", f"{name}={version}"], check=False,
                              capture_output=True)
        return show.returncode == 0

    def download(self, packages: list[str]) -> list[Path]:
        """Downloads exactly these packages, as NAME or NAME:ARCHITECTURE=VERSION, and returns their files."""
        for old in self._archives.glob("*.deb"):
            old.unlink()
        _run(["apt-get", *self._options, "-qq", "download", *packages], cwd=self._archives)
        return sorted(self._archives.glob("*.deb"))
