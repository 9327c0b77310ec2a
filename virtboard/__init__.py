"""The emulated ARM board: the real drivers under QEMU."""
