"""A Chromium of its own, and the operator at its keyboard."""

import os
import tempfile

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from line import until

OPTIONS = ("--headless=new", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync")


class Panel:
    """One port's panel, by number from 1, as it is on the page now."""

    def __init__(self, browser: "Browser", number: int):
        self._browser = browser
        self._path = f"#panels > :nth-child({number})"

    def texts(self, selector: str) -> list[str]:
        return self._browser.texts(f"{self._path} {selector}")

    @property
    def status(self) -> str:
        """free, testing, or ended with its word, such as "ended PASS"."""
        element = self._browser.driver.find_element(By.CSS_SELECTOR, self._path)
        words = element.get_attribute("class").split()
        return " ".join(word for word in words if word in ("free", "testing", "ended", "PASS", "FAIL", "STOP", "VOID"))

    @property
    def unit(self) -> str:
        return self.texts(".unit")[0]

    def until(self, status: str) -> None:
        until(lambda: self.status == status, f"{self._path} is {status}")

    def until_asked(self, text: str) -> None:
        until(lambda: self.texts(".sheet p") == [text], f"{self._path} asks {text}")

    def press(self, name: str) -> None:
        """Clicks the button that begins so."""
        buttons = self._browser.driver.find_elements(By.CSS_SELECTOR, f"{self._path} button")
        next(button for button in buttons if button.text.startswith(name)).click()


class Browser:
    def __init__(self):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in (*OPTIONS, f"--user-data-dir={self._profile.name}", *(["--no-sandbox"] if os.geteuid() == 0 else [])):
            options.add_argument(option)
        self.driver = webdriver.Chrome(options=options, service=webdriver.chrome.service.Service("/usr/bin/chromedriver"))
        self.resize(1280, 800)

    def resize(self, width: int, height: int) -> None:
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def prefer(self, scheme: str) -> None:
        """light or dark"""
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def open_bench(self, url: str) -> None:
        self.driver.get(url)
        until(lambda: self.texts("#panels > section"), "the page shows its panels")

    def panel(self, number: int) -> Panel:
        return Panel(self, number)

    def texts(self, selector: str) -> list[str]:
        """Of the elements that are on the page and shown."""
        return self.run("return [...document.querySelectorAll(arguments[0])].filter((each) => each.checkVisibility())"
                        ".map((each) => each.textContent)", selector)

    def run(self, script: str, *arguments):
        return self.driver.execute_script(script, *arguments)

    def type(self, *keys: str) -> None:
        """Wherever the focus is. A shift key holds for the keys behind it."""
        ActionChains(self.driver).send_keys(*keys).perform()

    def scan(self, text: str) -> None:
        self.type(text, Keys.ENTER)

    def alt(self, key: str) -> None:
        ActionChains(self.driver).key_down(Keys.ALT).send_keys(key).key_up(Keys.ALT).perform()

    def close(self) -> None:
        self.driver.quit()
        self._profile.cleanup()
