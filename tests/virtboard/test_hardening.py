"""The cross-compiled files are hardened against exploits."""

import subprocess

from support import BoardTest
from virtboard import image

FILES = ["libtestmode.so", "framework/ostrel/libOstrel.so", "apps/testapp/testapp"]


class HardeningTest(BoardTest):
    def test_every_file_is_hardened(self):
        check = subprocess.run([image.REPOSITORY / "tests/install/check-hardening", *(image.BUILD / name for name in FILES)],
                               check=False, capture_output=True, text=True)
        self.assertEqual(check.returncode, 0, check.stderr)
