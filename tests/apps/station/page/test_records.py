"""The records, asked in the browser: the same figures as at the command line."""

import json

from selenium.webdriver.common.by import By

from line import until
from support import PageTest

UNITS = ("SN-9001", "SN-9002", "SN-9001")  # the first fails, and passes on another board
HINT = "Is each output wired to the input of its number?"


class RecordsTest(PageTest):
    def open(self, path: str) -> None:
        self.browser.driver.get(self.line.url + path)
        self.until_answered()

    def until_answered(self) -> None:
        until(lambda: self.browser.run("return document.getElementById('message')?.textContent") == "", "the records answer")

    def rows(self, table: str) -> list[list[str]]:
        return self.browser.run("return [...document.querySelectorAll(arguments[0] + ' tbody tr')]"
                                ".map((row) => [...row.cells].map((cell) => cell.textContent.trim()))", table)

    def test_history_and_yield(self):
        self.line = self.start(boards=2, faults={1: "inputs-stuck"})
        for unit, number, word in zip(UNITS, (1, 2, 2), ("FAIL", "PASS", "PASS")):
            panel = self.browser.panel(number)
            panel.press(f"F{number}")
            self.browser.scan(unit)
            until(lambda: panel.unit == unit, "the unit is under test")
            panel.until(f"ended {word}")

        self.open("history.html")
        runs = json.loads(self.line.command("history", "--json"))["runs"]
        self.assertEqual([(row[1], row[2]) for row in self.rows("#runs")], [(run["unit"], run["verdict"]) for run in runs])
        self.assert_looks_right("history")
        self.assert_controls_are_for_all("history")
        self.open("history.html?verdict=FAIL&search=SN-90")
        self.assertEqual([row[1:3] for row in self.rows("#runs")], [["SN-9001", "FAIL"]])

        self.browser.driver.find_element(By.CSS_SELECTOR, "#runs a").click()
        until(lambda: "Unit SN-9001, FAIL" in self.browser.driver.title, "the run is shown")
        self.until_answered()
        self.assertEqual(self.browser.texts("#checks .hint"), [HINT])
        self.assertEqual([text.split()[-1] for text in self.browser.texts("#runs .verdict")], ["PASS", "FAIL"])
        self.assertEqual(self.browser.texts(".frames"), [])
        self.browser.driver.find_element(By.ID, "frames").click()
        self.assertIn(" > ", self.browser.texts(".frames")[1])
        self.assert_looks_right("run")
        self.assert_controls_are_for_all("run")

        self.open("yield.html")
        figures = json.loads(self.line.command("yield", "--by", "day", "--json"))
        [total] = figures["total"]
        self.assertEqual((total["first_passed"], total["final_passed"]), (1, 2))
        self.assertEqual(self.browser.texts("#total dd"), ["3", "50.00 % (1 of 2)", "100.00 % (2 of 2)", "none"])
        self.browser.run("document.querySelectorAll('details').forEach((each) => each.open = true)")
        self.assertEqual([row[0] for row in self.rows("#groups")], [group["name"] for group in figures["groups"]])
        self.assertEqual([row[0] for row in self.rows("#failures")], [failure["check"] for failure in figures["failures"]])
        self.assertEqual([(row[0], row[3], row[6]) for row in self.rows("#values")],
                         [(value["value"], str(value["count"]), "–" if value["cpk"] is None else f"{value['cpk']:.2f}")
                          for value in figures["values"]])
        self.assert_looks_right("yield")
        self.assert_controls_are_for_all("yield")
