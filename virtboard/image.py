"""The board's root file system, which stands in memory: drivers, libraries, our programs and the board's own scripts."""

import shutil
import subprocess
from pathlib import Path

from virtboard import kernel, packages

REPOSITORY = Path(__file__).parent.parent
SCRIPTS = Path(__file__).parent / "rootfs"
LIBRARIES = [
    "lib/ld-linux-armhf.so.3", "lib/arm-linux-gnueabihf/*.so*", "usr/lib/arm-linux-gnueabihf/libstdc++.so.6*",
    "usr/lib/arm-linux-gnueabihf/libts.so.0*", "usr/lib/arm-linux-gnueabihf/ts0/*.so",
]


def build() -> Path:
    """Builds whatever is missing and returns the file system as a cpio archive."""
    kernel.fetch()
    sysroot = packages.sysroot("armhf")
    module = kernel.build_module()
    _build_programs()
    folder = packages.BUILD / "virtboard"
    tree = folder / "rootfs"
    shutil.rmtree(tree, ignore_errors=True)
    shutil.copytree(SCRIPTS, tree)
    for place in ("bin", "sbin", "usr/bin", "usr/sbin", "dev", "proc", "sys"):
        (tree / place).mkdir(parents=True, exist_ok=True)
    _add_busybox(tree)
    _add_libraries(sysroot, tree)
    _add_modules([*kernel.driver_files(), module], tree / "lib/modules")
    _add_programs(tree)
    return _archive(tree, folder / "rootfs.cpio")


def _build_programs() -> None:
    subprocess.run(["cmake", "--preset", "armhf"], cwd=REPOSITORY, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "armhf", "--", "--quiet"], cwd=REPOSITORY, check=True)


def _add_busybox(tree: Path) -> None:
    shutil.copy2(kernel.FOLDER / "bin/busybox", tree / "bin")
    (tree / "bin/sh").symlink_to("busybox")


def _add_libraries(sysroot: Path, tree: Path) -> None:
    for pattern in LIBRARIES:
        for library in sysroot.glob(pattern):
            place = tree / library.relative_to(sysroot)
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(library, place, follow_symlinks=False)


def _add_modules(modules: list[Path], place: Path) -> None:
    place.mkdir()
    for module in modules:
        shutil.copy2(module, place)
    (place / "order").write_text("".join(f"{module.name}\n" for module in modules))


def _add_programs(tree: Path) -> None:
    subprocess.run(["cmake", "--install", REPOSITORY / "build/armhf", "--strip", "--prefix", tree / "usr"], check=True,
                   stdout=subprocess.DEVNULL)
    shutil.rmtree(tree / "usr/include")


def _archive(tree: Path, archive: Path) -> Path:
    names = "\n".join(str(path.relative_to(tree)) for path in sorted(tree.rglob("*")))
    with archive.open("wb") as output:
        subprocess.run(["cpio", "--create", "--format=newc", "--owner=0:0", "--quiet"], cwd=tree, check=True,
                       input=names.encode(), stdout=output)
    return archive
