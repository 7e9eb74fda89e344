"""Drives Chromium as a user with a phone or a keyboard would."""

import base64
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.actions.action_builder import ActionBuilder
from selenium.webdriver.common.actions.interaction import POINTER_TOUCH
from selenium.webdriver.common.actions.pointer_input import PointerInput
from selenium.webdriver.common.by import By

TAP = 0.05  # seconds
MAX_TAP = 0.2  # seconds
TIMEOUT = 20.0  # seconds
INCH = 25.4  # millimetres

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
    "--disable-features=WebRtcHideLocalIpsWithMdns",  # mDNS names need a network
    "--allow-loopback-in-peer-connection",
    "--autoplay-policy=document-user-activation-required",
    "--js-flags=--expose-gc",
]


def wait_until(condition, what, timeout=TIMEOUT):
    """Polls `condition` and returns its first true result; fails after `timeout` seconds."""
    deadline = time.monotonic() + timeout
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"timed out: {what}")
        time.sleep(0.02)


class Browser:
    """A browser with its own profile, deleted at the end of the `with`."""

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
        self.driver.set_script_timeout(TIMEOUT)

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

    def before_each_page(self, test, source):
        """Runs the script before those of every page, until the test is over."""
        script = self.cdp("Page.addScriptToEvaluateOnNewDocument", source=source)
        test.addCleanup(self.cdp, "Page.removeScriptToEvaluateOnNewDocument", **script)

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

    def console_errors(self):
        """The errors in the browser console, such as a violation of the content security policy."""
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] == "SEVERE"]

    def print_to_pdf(self, width, height):
        """On paper of that size, in millimetres."""
        return base64.b64decode(self.cdp("Page.printToPDF", paperWidth=width / INCH, paperHeight=height / INCH)["data"])

    # ---- Input ----

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

    def fingers_down(self, *points, at=None):
        """All fingers that touch the screen now, each (x, y) or (x, y, radius)."""
        self._touch("touchStart", points, at)

    def fingers_move(self, *points, at=None):
        self._touch("touchMove", points, at)

    def fingers_up(self, at=None):
        self._touch("touchEnd", (), at)

    def touch_cancelled(self):
        self._touch("touchCancel", (), None)

    def _touch(self, kind, points, at):
        fingers = [
            {"x": x, "y": y, "id": index, "radiusX": radius[0] if radius else 10, "radiusY": radius[0] if radius else 10}
            for index, (x, y, *radius) in enumerate(points)
        ]
        self.cdp("Input.dispatchTouchEvent", type=kind, touchPoints=fingers, timestamp=at or time.time())

    def tap(self, selector):
        """Exactly TAP long, however slow the machine is: the events carry their own times."""
        now = time.time()
        self.fingers_down(self.middle(selector), at=now - TAP)
        self.fingers_up(at=now)

    def swipe(self, x, y, down, steps=4):
        """A finger that moves from there by `down` CSS pixels (up if negative), without a rest."""
        actions = ActionBuilder(self.driver, PointerInput(POINTER_TOUCH, "finger"), duration=0)
        finger = actions.pointer_action
        finger.move_to_location(round(x), round(y)).pointer_down()
        for step in range(1, steps + 1):
            finger.move_to_location(round(x), round(y + down * step / steps))
        finger.pointer_up()
        actions.perform()

    def hold(self, selector):
        """A finger that has been down for longer than a tap."""
        self.fingers_down(self.middle(selector), at=time.time() - 2 * MAX_TAP)

    def key_down(self, key, code, at=None):
        self.cdp("Input.dispatchKeyEvent", type="keyDown", key=key, code=code, timestamp=at or time.time())

    def key_up(self, key, code, at=None):
        self.cdp("Input.dispatchKeyEvent", type="keyUp", key=key, code=code, timestamp=at or time.time())

    def tap_key(self, key, code):
        now = time.time()
        self.key_down(key, code, at=now - TAP)
        self.key_up(key, code, at=now)

    def hold_key(self, key, code):
        self.key_down(key, code, at=time.time() - 2 * MAX_TAP)
