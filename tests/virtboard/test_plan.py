"""The station's whole plan, with an operator at the display."""

import json
import subprocess

from support import OUTPUT, BoardTest
from virtboard import board, disks
from virtboard.finger import Operator


class PlanTest(BoardTest):
    def test_every_check_passes_or_is_not_supported(self):
        self.plug_disk(disks.make_whole(OUTPUT / "plan.img"))
        operator = Operator(self.machine)
        plan = board.station(self.machine, "run", "--ping", board.PING_ADDRESS, "--interface", "eth0",
                             "--json", str(OUTPUT / "unit.json"), stdout=subprocess.DEVNULL)
        while plan.poll() is None:
            operator.look()
        record = json.loads((OUTPUT / "unit.json").read_text())
        results = {check["name"]: check["result"] for check in record["checks"]}
        self.assertEqual([name for name, result in results.items() if result not in ("PASS", "SKIP")], [])
        self.assertEqual([name for name, result in results.items() if result == "SKIP"],
                         ["CMD_ADC_IN_TEST", "CMD_SPEAKER_OUT_TEST", "CMD_RAM_TEST", "CMD_FLASH_TEST"])
        self.assertEqual(plan.returncode, 0)
        self.assertEqual(len(operator.touched), 5)
