"""Drives Chromium as a person with a phone or a keyboard would."""

import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

PATIENCE = 20.0  # seconds until a condition that never comes is called a failure

SWITCHES = [
    "--headless=new",
    "--no-sandbox",
    "--disable-gpu",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-background-timer-throttling",
    "--disable-renderer-backgrounding",
    "--use-fake-device-for-media-stream",
    "--allow-loopback-in-peer-connection",
    "--autoplay-policy=document-user-activation-required",
]


def wait_until(condition, what, patience=PATIENCE):
    """The first true result of `condition`, polled until then."""
    deadline = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"never happened: {what}")
        time.sleep(0.02)


class Browser:
    """A browser with a profile of its own, gone at the end of the `with`."""

    def __init__(self, *switches, microphone=True):
        self.folder = tempfile.TemporaryDirectory(prefix="wingbell-page-")
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for switch in SWITCHES + list(switches):
            options.add_argument(switch)
        if microphone:
            options.add_argument("--use-fake-ui-for-media-stream")
        options.add_argument(f"--user-data-dir={self.folder.name}/profile")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(PATIENCE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()
        self.folder.cleanup()

    def open(self, address):
        self.driver.get(address)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def cdp(self, command, **arguments):
        return self.driver.execute_cdp_cmd(command, arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def shown(self, selector):
        return any(element.is_displayed() for element in self.driver.find_elements(By.CSS_SELECTOR, selector))

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def wait_for(self, selector):
        return wait_until(lambda: self.shown(selector) and self.find(selector), f"{selector} is shown")

    def wait_for_text(self, selector, text):
        try:
            wait_until(lambda: text in self.text(selector), f"{selector} says {text}")
        except AssertionError as error:
            raise AssertionError(f"{error}; it says: {self.text(selector)}") from None

    def complaints(self):
        """What the page has complained of in the console, such as a breach of its policy."""
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] == "SEVERE"]

    # ---- Hands ----

    def resize(self, width, height, mobile=True):
        self.cdp(
            "Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=2, mobile=mobile
        )
        self.cdp("Emulation.setTouchEmulationEnabled", enabled=mobile)

    def middle(self, selector):
        script = """
            const {left, top, width, height} = document.querySelector(arguments[0]).getBoundingClientRect();
            return [left + width / 2, top + height / 2];"""
        return self.run(script, selector)

    def touch(self, *points):
        """All fingers that are on the glass now, each (x, y) or (x, y, radius)."""
        fingers = [
            {"x": p[0], "y": p[1], "id": i, "radiusX": p[2] if len(p) > 2 else 10, "radiusY": p[2] if len(p) > 2 else 10}
            for i, p in enumerate(points)
        ]
        return fingers

    def fingers_down(self, *points):
        self.cdp("Input.dispatchTouchEvent", type="touchStart", touchPoints=self.touch(*points))

    def fingers_move(self, *points):
        self.cdp("Input.dispatchTouchEvent", type="touchMove", touchPoints=self.touch(*points))

    def fingers_up(self):
        self.cdp("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])

    def touch_taken_away(self):
        self.cdp("Input.dispatchTouchEvent", type="touchCancel", touchPoints=[])

    def tap(self, selector):
        """Shorter than any tap must be: both halves of it are sent to the browser in one go."""
        x, y = self.middle(selector)
        self.cdp("Input.synthesizeTapGesture", x=round(x), y=round(y), duration=30, gestureSourceType="touch")

    def key_down(self, key, code):
        self.cdp("Input.dispatchKeyEvent", type="keyDown", key=key, code=code)

    def key_up(self, key, code):
        self.cdp("Input.dispatchKeyEvent", type="keyUp", key=key, code=code)
