"""What all tests of the page share: a Chromium for each class, and a line of its own for each test."""

import unittest

from browser import Browser
from line import Line

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
