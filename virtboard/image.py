"""The board's initramfs: drivers, libraries, our programs and the board's own scripts."""

import shutil
import subprocess
from pathlib import Path

from virtboard import kernel, packages, progress
from virtboard.progress import step
from virtboard.tools import run

REPOSITORY = Path(__file__).parent.parent
SCRIPTS = Path(__file__).parent / "rootfs"
BUILD = REPOSITORY / "build/armhf"
LIBRARIES = [
    "lib/ld-linux-armhf.so.3", "lib/arm-linux-gnueabihf/*.so*", "usr/lib/arm-linux-gnueabihf/libstdc++.so.6*",
    "usr/lib/arm-linux-gnueabihf/libts.so.0*", "usr/lib/arm-linux-gnueabihf/ts0/*.so",
]


def build(with_unit_tests: bool = False) -> Path:
    """Builds whatever is missing and returns the file system as a cpio archive. The unit tests' programs, and the files
    that they read, have the same paths as on this host."""
    kernel.fetch()
    sysroot = packages.sysroot("armhf")
    module = kernel.build_module()
    _build_programs(with_unit_tests)
    step("Packing the root file system")
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
    if with_unit_tests:
        _add_unit_tests(tree)
    _add_touch_panel_settings(tree)
    return _archive(tree, folder / "rootfs.cpio")


def unit_tests() -> list[Path]:
    """The unit tests' programs that need nothing but the library and the simulated board."""
    return [BUILD / "tests" / name for name in ("test_ostrel", "test_common", "test_uart", "ioctl/test_ioctl")]


def _build_programs(with_unit_tests: bool) -> None:
    tests = "ON" if with_unit_tests else "OFF"
    run("cmake", "--preset", "armhf", f"-DTESTMODE_BUILD_TESTS={tests}", cwd=REPOSITORY, stdout=subprocess.DEVNULL)
    step("Cross-compiling the library and the programs")
    progress.build("cmake", "--build", "--preset", "armhf", cwd=REPOSITORY)


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
    run("cmake", "--install", BUILD, "--strip", "--prefix", tree / "usr", stdout=subprocess.DEVNULL)
    shutil.rmtree(tree / "usr/include")


def _add_unit_tests(tree: Path) -> None:
    data = [REPOSITORY / "sim/ts.conf", *(REPOSITORY / "tests/ioctl/images").iterdir()]
    libraries = [BUILD / "sim/libsimboard.so", BUILD / "libtestmode.so.0", BUILD / "framework/ostrel/libOstrel.so.0"]
    for file in [*unit_tests(), *libraries, *data]:
        place = tree / file.relative_to("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(file, place)


def _add_touch_panel_settings(tree: Path) -> None:
    """The panel reports units of its own; /etc/pointercal converts them to pixels of the display."""
    settings = (REPOSITORY / "sim/ts.conf").read_text()
    (tree / "etc/ts.conf").write_text(f"{settings}\nmodule linear\n")


def _archive(tree: Path, archive: Path) -> Path:
    names = "\n".join(str(path.relative_to(tree)) for path in sorted(tree.rglob("*")))
    with archive.open("wb") as output:
        run("cpio", "--create", "--format=newc", "--owner=0:0", "--quiet", cwd=tree, input=names.encode(), stdout=output)
    return archive
