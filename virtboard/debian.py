"""A disk for the board with a whole Debian on it: systemd, and what our packages need. They themselves are not on it."""

import shutil
import subprocess
from pathlib import Path

from virtboard import BoardError, packages
from virtboard.progress import step
from virtboard.tools import output_of, run

FILES = Path(__file__).parent / "debian"
IN_MEMORY = Path(__file__).parent / "rootfs"
TREE = packages.BUILD / "virtboard/debian"
PACKAGES = ["systemd-sysv", "dbus", "udev", "adduser", "libts0"]
SIZE = "512M"  # of the disk
BINARY_FORMATS = Path("/proc/sys/fs/binfmt_misc")


def make_disk(path: Path) -> Path:
    """Makes the disk in a file. Needs root; the first time it downloads Debian, which takes minutes."""
    stamp = TREE.with_suffix(".stamp")
    wanted = " ".join(PACKAGES)
    if not stamp.exists() or stamp.read_text() != wanted:
        stamp.unlink(missing_ok=True)
        _install_debian()
        stamp.write_text(wanted)
    step("Making the disk")
    shutil.copytree(FILES, TREE, dirs_exist_ok=True)
    shutil.copy2(IN_MEMORY / "sbin/serve-host", TREE / "usr/local/sbin")
    shutil.copy2(IN_MEMORY / "etc/pointercal", TREE / "etc")
    run("systemctl", "--root", TREE, "--quiet", "enable", "serve-host.service")
    path.unlink(missing_ok=True)
    run("mke2fs", "-q", "-t", "ext4", "-d", TREE, path, SIZE, stdout=subprocess.DEVNULL)
    return path


def _install_debian() -> None:
    step("Installing Debian for the board")
    _let_programs_of_the_board_run()
    mirror = output_of("apt-get", "indextargets", "--format", "$(REPO_URI)", "Identifier: Packages", "Release: bookworm",
                       "Component: main").split()[0]
    shutil.rmtree(TREE, ignore_errors=True)
    log = TREE.with_suffix(".log")
    with log.open("wb") as output:
        code = subprocess.run(["mmdebstrap", "--mode=root", "--variant=minbase", "--architectures=armhf", "--format=directory",
                               f"--include={','.join(PACKAGES)}", "bookworm", TREE, f"deb {mirror} bookworm main"],
                              check=False, stdout=output, stderr=output, stdin=subprocess.DEVNULL).returncode
    if code != 0:
        raise BoardError(f"mmdebstrap failed with exit code {code}: see {log}")


def _let_programs_of_the_board_run() -> None:
    """The kernel of this host hands them to QEMU."""
    if subprocess.run(["arch-test", "armhf"], check=False, stdout=subprocess.DEVNULL).returncode == 0:
        return
    if not (BINARY_FORMATS / "register").exists():
        run("mount", "-t", "binfmt_misc", "binfmt_misc", BINARY_FORMATS)
    (BINARY_FORMATS / "register").write_text(Path("/usr/lib/binfmt.d/qemu-arm.conf").read_text())
