"""The emulated ARM board: the real drivers under QEMU."""


class BoardError(Exception):
    """The board cannot be built, or does not do what every board does."""
