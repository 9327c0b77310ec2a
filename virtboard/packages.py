"""Debian packages of other architectures, downloaded and unpacked into the build folder.

apt works on lists and a package state of its own here: the host's packages and its architectures stay as they are.

usage: python3 -m virtboard.packages ARCHITECTURE
unpacks the libraries that a cross build needs into build/sysroot/ARCHITECTURE.
"""

import functools
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Callable

from virtboard.progress import step
from virtboard.tools import output_of, run

BUILD = Path(__file__).parent.parent / "build"
LIBRARIES = [
    "libc6", "libgcc-s1", "libstdc++6", "libts0", "libts-dev", "libpng16-16", "libpng-dev", "zlib1g", "zlib1g-dev",
]


class Apt:
    """apt for one architecture and the host's own, with everything it writes below one folder."""

    def __init__(self, architecture: str, folder: Path):
        self.host = output_of("dpkg", "--print-architecture").strip()
        self._archives = folder / "archives"
        for place in (self._archives, folder / "lists/partial"):
            place.mkdir(parents=True, exist_ok=True)
        (folder / "status").touch()  # nothing is installed
        settings = {
            "APT::Architecture": architecture, "APT::Architectures": f"{architecture},{self.host}",
            "APT::Sandbox::User": "", "Dir::State": folder, "Dir::State::Lists": folder / "lists",
            "Dir::State::status": folder / "status", "Dir::Cache": folder / "cache",
        }
        self._options = [f"-o={key}={value}" for key, value in settings.items()]

    def update(self) -> None:
        """Fetches the package lists. Goes on without a list that is unavailable: it may not be needed."""
        update = subprocess.run(["apt-get", *self._options, "-qq", "update"], check=False, text=True,
                                stderr=subprocess.PIPE)
        if update.returncode != 0:
            reasons = [line for line in update.stderr.splitlines() if line.startswith("E:")]
            print(*reasons, "Going on with the package lists at hand.", sep="\n", file=sys.stderr)

    def versions(self, name: str) -> list[tuple[str, str]]:
        """The versions of a package, newest first, each with its dependencies."""
        show = output_of("apt-cache", *self._options, "show", name)
        return re.findall(r"^Version: (\S+)(?:\n.+)*?\nDepends: (.+)", show, re.MULTILINE)

    def has(self, name: str, version: str) -> bool:
        show = subprocess.run(["apt-cache", *self._options, "show", f"{name}={version}"], check=False,
                              capture_output=True)
        return show.returncode == 0

    def download(self, packages: list[str]) -> list[Path]:
        """Downloads exactly these packages, as NAME or NAME:ARCHITECTURE=VERSION, and returns their files."""
        for old in self._archives.glob("*.deb"):
            old.unlink()
        for number, package in enumerate(packages, 1):
            step(f"  {package.split('=')[0]}, {number} of {len(packages)}")
            run("apt-get", *self._options, "-qq", "download", package, cwd=self._archives)
        return sorted(self._archives.glob("*.deb"))


def unpack(architecture: str, folder: Path, choose: Callable[[Apt], list[str]], stamp: str) -> bool:
    """Unpacks the packages that `choose` names into `folder` and returns True. When that was done before with the same
    `stamp`, which says what is wanted, returns False and does not use the network."""
    done = folder.with_suffix(".stamp")
    if done.exists() and done.read_text() == stamp:
        return False
    step(f"Downloading Debian packages for {architecture}")
    done.unlink(missing_ok=True)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    apt = _updated_apt(architecture)
    archives = apt.download(choose(apt))
    step("Unpacking them")
    for package in archives:
        run("dpkg-deb", "--extract", package, folder)
        _keep_library_lists(package, folder)
    done.write_text(stamp)
    return True


def _keep_library_lists(package: Path, folder: Path) -> None:
    """Appends what a package says of its libraries to the lists in `folder`/DEBIAN, where dpkg-shlibdeps reads them."""
    lists = folder / "DEBIAN"
    lists.mkdir(exist_ok=True)
    with tempfile.TemporaryDirectory() as control:
        run("dpkg-deb", "--control", package, control)
        for source in (Path(control, "symbols"), Path(control, "shlibs")):
            if source.exists():
                with (lists / source.name).open("a") as target:
                    target.write(source.read_text())


def sysroot(architecture: str) -> Path:
    """The libraries that a cross build needs, with their headers, laid out like a root file system."""
    folder = BUILD / "sysroot" / architecture
    unpack(architecture, folder, lambda apt: LIBRARIES, "with lists: " + " ".join(LIBRARIES))
    return folder


@functools.cache
def _updated_apt(architecture: str) -> Apt:
    apt = Apt(architecture, BUILD / "apt" / architecture)
    step("  the package lists")
    apt.update()
    return apt


if __name__ == "__main__":
    print(sysroot(*sys.argv[1:]))
