"""What all tests of the page share: a Chromium for each class, and a line of its own for each test."""

import unittest
from pathlib import Path

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from browser import Browser
from line import Line, until

LOOKS = (Path(__file__).parent / "looks.js").read_text()
CONTROLS = "a[href], button, input, select, summary"
ARE_CHARTS_DRAWN = """return [...document.querySelectorAll("canvas")]
  .every((each) => each.clientWidth <= each.parentElement.clientWidth)"""
SIZES = ((1280, 720), (1280, 800), (1920, 1080))


class PageTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def start(self, *arguments, **options) -> Line:
        """A line with its bench open in the browser."""
        line = Line(*arguments, **options)
        self.addCleanup(line.close)
        self.browser.open_bench(line.url)
        return line

    def assert_looks_right(self, scene: str) -> None:
        for scheme in ("light", "dark"):
            self.browser.prefer(scheme)
            with self.subTest(scene, scheme=scheme):
                self.assertEqual(self.browser.run(LOOKS, "faint"), [])
        for size in SIZES:
            self.browser.resize(*size)
            until(lambda: self.browser.run(ARE_CHARTS_DRAWN), "the charts have found their size")
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
                while (focused := driver.switch_to.active_element) not in reached[start:] or focused == reached[-1]:
                    reached.append(focused)  # once for each part of a date
                    self.browser.type(*keys)
            self.assertEqual([control.accessible_name for control in controls if control not in reached], [])
