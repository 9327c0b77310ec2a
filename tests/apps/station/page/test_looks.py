"""What one sees: nothing overlaps, everything can be read, and reached by keyboard."""

from pathlib import Path

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from line import until
from support import PageTest

LOOKS = (Path(__file__).parent / "looks.js").read_text()
CONTROLS = "a[href], button, input, select, summary"
SIZES = ((1280, 720), (1280, 800), (1920, 1080))


class LooksTest(PageTest):
    def assert_looks_right(self, scene: str) -> None:
        for scheme in ("light", "dark"):
            self.browser.prefer(scheme)
            with self.subTest(scene, scheme=scheme):
                self.assertEqual(self.browser.run(LOOKS, "faint"), [])
        for size in SIZES:
            self.browser.resize(*size)
            with self.subTest(scene, size=size):
                self.assertEqual(self.browser.run(LOOKS, "misplaced"), [])

    def assert_controls_are_for_all(self, scene: str) -> None:
        """Each has a name, and Tab reaches each."""
        driver = self.browser.driver
        controls = [control for control in driver.find_elements(By.CSS_SELECTOR, CONTROLS) if control.is_displayed()]
        with self.subTest(scene):
            self.assertEqual([control.get_attribute("outerHTML") for control in controls if not control.accessible_name], [])
            reached = []
            for keys in ([Keys.TAB], [Keys.SHIFT, Keys.TAB]):  # from the field, which comes behind the links
                start = len(reached)
                while (focused := driver.switch_to.active_element) not in reached[start:]:
                    reached.append(focused)
                    self.browser.type(*keys)
            self.assertEqual([control.accessible_name for control in controls if control not in reached], [])

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
