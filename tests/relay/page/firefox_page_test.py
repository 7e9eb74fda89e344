"""The crew's page in Firefox, against the mock of the desk. The other end of the audio is in Chromium. A test looks like
those in Chromium, whose steps it can use; what Firefox cannot do is written in tests/fixtures/firefox.py."""

import pathlib
import sys
import unittest

from browser import Browser, wait_until
from mock_desk import MockDesk, channel
from page_test import HEARD, SILENT, DriftingThumb, PageTest, key

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "fixtures"))
from firefox import Firefox  # noqa: E402


class FirefoxPageTest(DriftingThumb, PageTest):
    @classmethod
    def setUpClass(cls):
        cls.desk = MockDesk()
        cls.addClassCleanup(cls.desk.stop)
        cls.far = cls.enterClassContext(Browser())
        cls.far.open(cls.desk.address + "/far")
        cls.far.find("html").click()  # allows it to play audio
        cls.browser = cls.enterClassContext(Firefox())
        cls.browser.resize(390, 844)

    def at_far_end(self, script, *arguments):
        return self.far.run("return " + script, *arguments)

    def level(self):
        return self.at_far_end("far.level(arguments[0])", self.desk.newest.id)

    def test_a_finger_that_holds_a_key_talks_until_it_is_lifted(self):
        self.join()
        self.assertTrue(self.desk.joins[0]["microphone"])
        self.browser.hold(key(2))
        self.wait_for_state(key(2), "held")
        self.wait_for_talk([1])
        wait_until(lambda: self.level() > HEARD, "the microphone is heard")
        self.browser.fingers_up()
        self.nothing_latched()
        wait_until(lambda: self.level() < SILENT, "silence")

    def test_a_tap_latches_a_key_and_the_next_one_releases_it(self):
        self.join()
        self.latch()
        self.wait_for_talk([0])
        wait_until(lambda: self.level() > HEARD, "the microphone is heard")
        self.browser.tap(key(1))
        self.nothing_latched()

    def test_a_swipe_from_anywhere_opens_nothing(self):
        for count in (3, 24):
            with self.subTest(channels=count):
                channels = [channel(f"Channel {number}") for number in range(1, count + 1)]
                self.desk.roles["k7d2m9qa"] = ("Stage Manager", channels)
                self.open("/help")
                self.join()
                for y in range(150, 800, 65):
                    self.swipe(100, y, -120 if y > 400 else 120)
                self.next_state()
                self.assertEqual(self.ever_talked(), [])

    def test_back_with_an_open_key_opens_the_menu(self):
        self.join()
        self.latch()
        self.browser.run("history.back()")
        self.browser.wait_for("#menu")
        self.assertEqual(self.state_of(key(1)), "latched")
        self.browser.tap("#menu-close")
        self.assertTrue(self.browser.shown("#desk-step"))

    def test_a_card_with_a_key_needs_no_code(self):
        self.open(f"/#key={self.desk.card_keys['b3n8x1zz']}&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.on_air()
        self.assertEqual(self.browser.text("#role-name"), "Director")

    def test_a_key_of_the_keyboard_talks(self):
        self.join()
        self.browser.hold_key("1")
        self.wait_for_talk([0])
        self.browser.key_up("1")
        self.nothing_latched()

    def test_leaving_tells_the_desk(self):
        self.join()
        session = self.desk.newest.id
        self.browser.tap("#menu-open")
        self.browser.wait_for("#menu")
        self.browser.tap("#leave")
        self.browser.wait_for_text("#roles-message", "You have left. Your microphone is off.")
        wait_until(lambda: session in self.desk.left, "the desk is told")

    def test_a_desk_that_forgot_the_session_is_joined_again(self):
        self.join()
        self.latch()
        self.desk.forget_sessions()
        self.wait_for_rejoin()
        self.on_air()
        self.nothing_latched()

    def test_without_a_microphone_one_listens(self):
        self.browser.before_each_page(
            self,
            """navigator.mediaDevices.getUserMedia = async () => {
                throw new DOMException('', 'NotAllowedError');
            };""",
        )
        self.join()
        self.browser.wait_for_text("#no-microphone-text", "You can only listen")
        self.assertEqual(self.state_of(key(1)), "no-microphone")


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
