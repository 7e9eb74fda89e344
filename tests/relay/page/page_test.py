"""What the tests of the crew's page share: a browser, a mock of the desk, and the steps that many tests take."""

import math
import pathlib
import struct
import tempfile
import unittest
import wave

from browser import Browser, wait_until
from mock_desk import MockDesk

TONE = -20  # decibels, of the microphone
HEARD = -40  # louder than this: the tone is received
SILENT = -80  # quieter than this: it is not

KEY = ".key"
ALL = ".key.all"


def key(number):
    """The selector of the n-th channel's key, from 1."""
    return f"#channels li:nth-child({number}) .key"


def write_tone(path):
    """A second of 1 kHz, which the browser takes for its microphone, over and over."""
    rate = 48000
    peak = 10 ** (TONE / 20) * math.sqrt(2) * 32767
    samples = [round(peak * math.sin(2 * math.pi * 1000 * i / rate)) for i in range(rate)]
    with wave.open(path, "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(struct.pack(f"<{rate}h", *samples))


class PageTest(unittest.TestCase):
    """One browser for all tests of a class; each test starts with a new desk and an empty page memory."""

    switches = ()
    microphone = True

    @classmethod
    def setUpClass(cls):
        cls.desk = MockDesk()
        cls.addClassCleanup(cls.desk.stop)
        folder = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="wingbell-tone-"))
        tone = str(pathlib.Path(folder) / "tone.wav")
        write_tone(tone)
        switches = [f"--use-file-for-fake-audio-capture={tone}", *cls.switches]
        cls.browser = cls.enterClassContext(Browser(*switches, microphone=cls.microphone))
        cls.browser.open(cls.desk.address + "/far")
        cls.browser.find("html").click()  # allows it to play audio
        cls.far = cls.browser.driver.current_window_handle
        cls.browser.driver.switch_to.new_window("window")
        cls.crew = cls.browser.driver.current_window_handle
        cls.browser.resize(390, 844)

    def setUp(self):
        self.browser.open(self.desk.address + "/help")  # leaves the page of the previous test
        self.browser.run("localStorage.clear()")
        self.at_far_end("far.hangUpAll()")
        self.desk.reset()
        self.browser.console_errors()  # drops those of the previous test

    def tearDown(self):
        bad = [text for text in self.browser.console_errors() if "Failed to load resource" not in text]
        self.assertEqual(bad, [], "errors in the console")

    # ---- Steps that many tests take ----

    def open(self, path="/"):
        self.browser.open(self.desk.address + path)

    def at_far_end(self, script, *arguments):
        self.browser.driver.switch_to.window(self.far)
        try:
            return self.browser.run("return " + script, *arguments)
        finally:
            self.browser.driver.switch_to.window(self.crew)

    def join(self, role="k7d2m9qa"):
        self.open(f"/#code={self.desk.code}&role={role}")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.on_air()

    def on_air(self):
        self.browser.wait_for("#desk-step")
        self.browser.wait_for_text("#connection-state", "On air")

    def latch(self, number=1):
        self.browser.tap(key(number))
        self.wait_for_state(key(number), "latched")

    def state_of(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).dataset.state", selector)

    def wait_for_state(self, selector, state):
        wait_until(lambda: self.state_of(selector) == state, f"{selector} is {state}")

    def talk_posted(self):
        states = self.desk.newest.states
        return states[-1]["talk"] if states else None

    def wait_for_talk(self, channels):
        wait_until(lambda: self.talk_posted() == channels, f"the desk is told {channels}")

    def nothing_latched(self):
        """No key is on, and the desk is told so after the hang time."""
        self.wait_for_talk([])
        states = self.browser.run("return [...document.querySelectorAll('.key')].map((k) => k.dataset.state)")
        self.assertEqual(set(states), {"idle"})

    def next_state(self):
        before = len(self.desk.newest.states)
        wait_until(lambda: len(self.desk.newest.states) > before, "the next state")

    def ever_talked(self):
        return [state["talk"] for state in self.desk.newest.states if state["talk"]]

    def swipe(self, x, y, down):
        """The page's clock stands still meanwhile: on a slow machine the finger would rest between its movements."""
        self.browser.run("const now = performance.now(); performance.now = () => now")
        self.browser.swipe(x, y, down)
        self.browser.run("delete performance.now")

    def wait_for_rejoin(self, joins=2):
        wait_until(lambda: len(self.desk.joins) >= joins, "the page joins again")


class DriftingThumb:
    """Tests for a class of tests of any browser."""

    def test_a_thumb_that_drifts_off_its_key_keeps_talking(self):
        self.join()
        x, y = self.browser.middle(key(1))
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_move((x + 25, y + 20))
        self.browser.fingers_move((x, y + 200))
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_second_finger_cuts_nothing_off_and_opens_nothing(self):
        self.join()
        first, second = self.browser.middle(key(1)), self.browser.middle(key(2))
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_down(first, second)
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])
        self.browser.fingers_up()
        self.nothing_latched()
