"""The demo's whole plan, with an operator at the display and instruments at the board."""

import json
import subprocess

from support import OUTPUT, BoardTest
from virtboard import board, disks


class PlanTest(BoardTest):
    def test_every_check_passes(self):
        self.plug_disk(disks.make_whole(OUTPUT / "plan.img"))
        code, touched = board.run_plan(self.machine, OUTPUT, "--json", str(OUTPUT / "unit.json"), "--overwrite",
                                       stdout=subprocess.DEVNULL)
        record = json.loads((OUTPUT / "unit.json").read_text())
        results = {check["name"]: check["result"] for check in record["checks"]}
        self.assertEqual([name for name, result in results.items() if result != "PASS"], [])
        self.assertEqual(record["verdict"], "PASS")
        self.assertEqual(code, 0)
        self.assertEqual(len(touched), 5)
