"""Units are tested at the bench, as an operator does it."""

import re

from selenium.webdriver.common.keys import Keys

from browser import Browser
from line import until
from support import PageTest

QUESTION = "Is the whole screen white, without a spot?"


class BenchTest(PageTest):
    def test_units_one_after_the_other(self):
        self.start(boards=4, faults={4: "inputs-stuck"})
        units = ["SN-1001", "SN-1002", "SN-1003", "SN-1004"]
        for number, unit in enumerate(units, 1):
            until(lambda: f"port {number}," in self.browser.texts("#target")[0], f"port {number} is next")
            self.browser.scan(unit)
        panels = [self.browser.panel(number) for number in range(1, 5)]
        for panel, unit, word in zip(panels, units, ["PASS", "PASS", "PASS", "FAIL"]):
            panel.until(f"ended {word}")
            self.assertEqual((panel.unit, panel.texts(".verdict")), (unit, [word]))
        self.assertEqual(panels[3].texts(".hint"), ["Is each output wired to the input of its number?"])

        stood = [(panel.unit, panel.status) for panel in panels]
        following = int(re.search(r"port (\d),", self.browser.texts("#target")[0])[1]) - 1  # whichever was free first
        self.browser.scan("SN-1005")
        until(lambda: panels[following].unit == "SN-1005", "the fifth unit is under test")
        panels[following].until("ended FAIL" if following == 3 else "ended PASS")
        self.assertEqual([(panel.unit, panel.status) for panel in panels if panel.unit != "SN-1005"],
                         stood[:following] + stood[following + 1:])

    def test_questions(self):
        self.start(boards=2, asks=True)
        one, two = self.browser.panel(1), self.browser.panel(2)
        for panel, unit in ((one, "SN-2001"), (two, "SN-2002")):
            self.browser.scan(unit)
            panel.until_asked(QUESTION)
        for chosen in ("", Keys.F1):
            self.browser.scan(chosen + "7Y0N1Y8")
            until(lambda: self.browser.texts("#notice"), "the page says that no port is free")
            self.assertEqual([panel.texts(".sheet p") for panel in (one, two)], [[QUESTION]] * 2)
            self.browser.alt("y")
            until(lambda: self.browser.texts("#notice") == ["choose a port first, with F1 to F8"], "no port is chosen")

        self.browser.type(Keys.F1)
        self.browser.alt("y")
        one.until("ended PASS")
        two.press("No")
        two.until("ended FAIL")

    def test_stop_is_asked_once(self):
        line = self.start(boards=1)
        line.hold("SN-3001")
        self.browser.scan("SN-3001")
        panel = self.browser.panel(1)
        panel.until("testing")
        for _ in range(2):
            self.browser.alt("x")
            panel.until_asked("Stop this test?")
            self.assertEqual(panel.status, "testing")
            self.browser.type(Keys.ESCAPE)
            until(lambda: not panel.texts(".sheet p"), "the test goes on")
        self.browser.alt("x")
        self.browser.alt("x")
        panel.until("ended STOP")

    def test_reload_and_second_browser(self):
        line = self.start(boards=2)
        other = Browser()
        self.addCleanup(other.close)
        line.hold("SN-4001")
        self.browser.scan("SN-4001")
        self.browser.scan("SN-4002")
        self.browser.panel(2).until("ended PASS")
        until(lambda: self.browser.panel(1).texts(".now") == ["supply"], "the first unit's supply is measured")
        self.browser.open_bench(line.url)
        other.open_bench(line.url)
        shown = [browser.texts("#panels :is(.unit, .now, .verdict, .checks li)") for browser in (self.browser, other)]
        self.assertIn("SN-4001", shown[0])
        self.assertEqual(shown[0], shown[1])
        line.release("SN-4001")
        for browser in (self.browser, other):
            browser.panel(1).until("ended PASS")

    def test_station_is_gone_and_comes_back(self):
        line = self.start(boards=1)
        line.kill_station()
        until(lambda: self.browser.texts("#gone"), "the page says that the station is gone")
        self.browser.scan("SN-5001")
        until(lambda: self.browser.texts("#notice"), "the page says that nobody took the number")
        line.restart_station()
        until(lambda: not self.browser.texts("#gone"), "the page sees the station again")
        self.browser.scan("SN-5002")
        until(lambda: self.browser.panel(1).unit == "SN-5002", "the unit is under test")
        self.browser.panel(1).until("ended PASS")
