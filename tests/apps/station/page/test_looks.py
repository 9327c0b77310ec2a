"""What one sees on the bench: nothing overlaps, everything can be read, and reached by keyboard."""

from line import until
from support import PageTest


class LooksTest(PageTest):
    def test_bench(self):
        for boards in (1, 4, 8):
            line = self.start(boards=boards, faults={2: "inputs-stuck", 3: "disk-missing"}, asks=True)
            self.assert_looks_right(f"{boards} free panels")
            units = [f"SN-80{number:02}" for number in range(1, boards + 1)]
            line.hold(units[-1])
            for number, unit in enumerate(units, 1):
                until(lambda: f"port {number}," in self.browser.texts("#target")[0], f"port {number} is next")
                self.browser.scan(unit)
            until(lambda: self.browser.panel(boards).texts(".now") == ["supply"], "the last unit is under test")
            for number in range(1, boards):
                until(lambda: self.browser.panel(number).texts(".sheet"), f"panel {number} asks")
            self.browser.scan("SN-9000")
            until(lambda: self.browser.texts("#notice"), "the number is refused")
            self.assert_looks_right(f"{boards} panels, questions")
            self.assert_controls_are_for_all(f"{boards} panels, questions")
            for number in range(1, boards):
                self.browser.panel(number).press("No" if number == 4 else "Yes")
                until(lambda: self.browser.panel(number).status.startswith("ended"), f"unit {number} ends")
            line.release(units[-1])
            self.browser.panel(boards).until_asked("Is the whole screen white, without a spot?")
            self.browser.alt("x")
            self.browser.panel(boards).until_asked("Stop this test?")
            self.assert_looks_right(f"{boards} panels, verdicts")
            self.assert_controls_are_for_all(f"{boards} panels, verdicts")
