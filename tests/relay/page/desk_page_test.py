"""The desk's own page in Chromium, against the mock of the desk."""

import sys
import unittest

from browser import Browser, wait_until
from mock_desk import MockDesk, channel

MINUTE = 60000  # milliseconds
NOW = 60 * MINUTE
CLOSE = "#role-list > li:nth-child({}) .person:nth-child({}) .close-keys"


class DeskPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desk = MockDesk()
        cls.addClassCleanup(cls.desk.stop)
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.browser.open(self.desk.address + "/help")  # leaves the page of the previous test
        self.browser.run("localStorage.clear()")
        self.desk.reset()
        self.browser.resize(1280, 800, mobile=False)
        self.browser.console_errors()

    def tearDown(self):
        bad = [text for text in self.browser.console_errors() if "Failed to load resource" not in text]
        self.assertEqual(bad, [], "errors in the console")

    def open(self, fragment=None):
        self.browser.open(f"{self.desk.address}/desk{fragment if fragment is not None else '#key=' + self.desk.desk_key}")

    def show(self, *members, **more):
        self.open()
        self.browser.wait_for_text("#connection-state", "On air")
        self.desk.show_crew(*members, now=NOW, **more)

    def text_of_role(self, number):
        return self.browser.run(
            "return document.querySelector('#role-list').children[arguments[0] - 1].innerText", number
        )

    def wait_for_role(self, number, text):
        wait_until(lambda: text in self.text_of_role(number), f"role {number} says {text}")

    def wait_for_request(self, what, request):
        wait_until(lambda: (what, request) in self.desk.desk_requests, f"{what} {request}")

    def test_without_the_key_it_shows_nothing_and_says_where_the_address_is(self):
        self.open("")
        self.browser.wait_for_text("#no-key-text", "Open this page by its whole address")
        self.open("#key=" + 22 * "x")
        self.browser.wait_for_text("#no-key-text", "no longer valid")
        self.assertFalse(self.browser.shown("#desk"))
        self.assertEqual(self.browser.run("return location.hash"), "", "the key is out of the address bar")

    def test_the_key_is_kept_for_the_next_time(self):
        self.open()
        self.browser.wait_for("#desk")
        self.open("")
        self.browser.wait_for_text("#connection-state", "On air")
        self.assertEqual(self.browser.text("#desk-show"), "Hamlet")

    def test_each_role_shows_who_is_there_and_what_is_known(self):
        self.show(
            {"id": 1, "role": 0, "heard": NOW - 65000, "loss": 0.12, "delay": 30, "battery": 0.15, "screen": "may-lock"},
            {"id": 2, "role": 1, "microphone": False, "connected": False, "battery": 0.4, "charging": True},
        )
        self.wait_for_role(1, "battery 15 %")
        for words in ("Stage Manager", "Keys closed", "last heard 1:05 ago", "loss 12 %", "delay 30 ms", "screen may lock"):
            self.assertIn(words, self.text_of_role(1))
        bad = self.browser.run("return [...document.querySelectorAll('.bad')].map((note) => note.textContent)")
        self.assertEqual(bad, ["screen may lock", "loss 12 %", "battery 15 %", "not connected"])
        for words in ("Director", "only listens", "battery 40 %, charging"):
            self.assertIn(words, self.text_of_role(2))
        self.assertIn("no one yet", self.text_of_role(3))

    def test_an_open_key_is_shown_with_its_time_and_closed_with_its_button(self):
        self.show({"id": 7, "role": 0, "open": [{"channel": 1, "since": NOW - 65000}]}, {"id": 8, "role": 1})
        self.browser.wait_for_text("#open-now", "Stage Manager: Tech 1:05")
        self.wait_for_role(1, "Tech 1:05")
        self.assertFalse(self.browser.find(CLOSE.format(1, 1)).get_property("disabled"))
        self.assertTrue(self.browser.find(CLOSE.format(2, 1)).get_property("disabled"))
        self.browser.find(CLOSE.format(1, 1)).click()
        self.wait_for_request("close-keys", {"member": 7})
        self.browser.wait_for_text("#message", "Closed the keys of 1 person.")
        self.desk.show_crew({"id": 7, "role": 0}, {"id": 8, "role": 1}, now=NOW)
        self.browser.wait_for_text("#open-now", "No key is open.")

    def test_a_time_that_runs_goes_on_without_the_desk(self):
        self.show({"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW - 59000}]})
        self.browser.wait_for_text("#open-now", "1:02")

    def test_a_key_that_is_open_without_a_word_stands_out(self):
        self.show({"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW - 5 * MINUTE}], "heard": NOW - 4 * MINUTE})
        self.wait_for_role(1, "open without a word for 4:0")

    def test_every_key_is_closed_by_one_button(self):
        self.show()
        self.assertTrue(self.browser.find("#close-all").get_property("disabled"))
        self.desk.show_crew({"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW}]}, now=NOW)
        wait_until(lambda: not self.browser.find("#close-all").get_property("disabled"), "it can be pressed")
        self.browser.find("#close-all").click()
        self.wait_for_request("close-keys", {})

    def test_a_text_is_spoken_on_the_channels_that_are_chosen(self):
        self.show(channels=[{"announcing": False}, {"announcing": True}])
        self.browser.find("#speak-text").send_keys("Beginners, please\n")
        self.browser.wait_for_text("#message", "Choose a channel first.")
        self.browser.find("#speak-channels label:nth-child(2)").click()
        self.browser.find("#speak").click()
        self.wait_for_request("speak", {"channels": [1], "text": "Beginners, please"})
        self.browser.wait_for_text("#message", "It is being spoken")
        self.assertEqual(self.browser.find("#speak-text").get_property("value"), "")
        self.browser.find("#speak").click()
        self.browser.wait_for_text("#message", "Type a text first.")
        self.browser.find("#speak-all").click()
        self.desk.desk_responses["speak"] = (503, {"error": "too-many-waiting"})
        self.browser.find("#speak-text").send_keys("Again\n")
        self.browser.wait_for_text("#message", "Too many announcements are waiting.")
        self.wait_for_request("speak", {"channels": [0, 1, 2, 3], "text": "Again"})
        self.assertEqual(self.browser.find("#speak-text").get_property("value"), "Again", "nothing is lost")
        self.browser.find("#silence").click()
        self.wait_for_request("silence", {})

    def test_calls_and_lights_are_sent_and_their_answers_shown(self):
        self.show({"id": 7, "role": 0})
        row = "#signal-rows > li:nth-child(2)"
        self.browser.wait_for_text(row, "Tech")
        self.browser.find("#light-text").send_keys(" LX 12 ")
        for what, text in (("call", ""), ("standby", "LX 12"), ("go", "LX 12"), ("clear", "")):
            self.browser.find(f"{row} [data-signal={what}]").click()
            self.wait_for_request(what, {"channels": [1], "text": text})
        self.browser.wait_for_text("#message", "Clear on Tech was sent.")
        light = {"kind": "standby", "text": "LX 12", "shown": 3, "answered": ["Director"]}
        call = {"from": "Fly Floor", "called": 2, "answered": []}
        self.desk.show_crew(now=NOW, channels=[{}, {"call": call, "light": light}])
        state = "Standby LX 12: 1 of 3 answered (Director) · Fly Floor calls: 0 of 2 answered (–)"
        self.browser.wait_for_text(f"{row} .signal-state", state)
        self.assertEqual(
            self.browser.run("return document.querySelector(arguments[0]).ariaLabel", f"{row} [data-signal=go]"),
            "Go on Tech",
        )

    def test_a_desk_that_was_started_again_is_opened_again(self):
        self.show({"id": 7, "role": 0})
        self.wait_for_role(1, "Keys closed")
        for events in self.desk.desk_pages.values():
            events.put(("goodbye", {}))
        self.browser.wait_for_text("#connection-state", "Off air")
        wait_until(lambda: len(self.desk.desk_pages) > 1, "it opens again")
        self.browser.wait_for_text("#connection-state", "On air")

    def test_a_page_that_gave_way_says_so_and_stays_closed(self):
        self.show({"id": 7, "role": 0})
        self.wait_for_role(1, "Keys closed")
        list(self.desk.desk_pages.values())[-1].put(("replaced", {}))
        self.browser.wait_for_text("#no-key-text", "Too many pages of the desk are open")
        self.assertFalse(self.browser.shown("#desk"))
        self.assertEqual(len(self.desk.desk_pages), 1)
        self.open("")
        self.browser.wait_for_text("#connection-state", "On air")

    def test_it_can_be_used_by_keyboard_alone(self):
        self.show(
            {"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW}]},
            {"id": 8, "role": 1},
            {"id": 9, "role": 2, "open": [{"channel": 0, "since": NOW}]},
        )
        self.browser.wait_for_text("#open-now", "Fly Floor")
        self.browser.run("document.activeElement.blur()")
        names = []
        for _ in range(4):
            self.browser.tap_key("Tab", "Tab")
            names.append(self.browser.run("return document.activeElement.ariaLabel || document.activeElement.id"))
        self.assertEqual(
            names, ["close-all", "Close the keys of Stage Manager", "Close the keys of Fly Floor", "light-text"]
        )

    def test_a_screen_reader_is_told_of_keys_that_open(self):
        self.show({"id": 7, "role": 0})
        self.wait_for_role(1, "Keys closed")
        self.desk.show_crew({"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW}]}, now=NOW)
        self.browser.wait_for_text("#polite", "Open: Stage Manager on Main")

    def test_the_button_in_use_keeps_the_focus_and_its_place(self):
        self.show({"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW}]})
        self.browser.wait_for_text("#open-now", "Stage Manager")
        self.browser.run("document.querySelector(arguments[0]).focus()", CLOSE.format(1, 1))
        before = self.browser.middle(CLOSE.format(1, 1))
        self.desk.show_crew({"id": 7, "role": 0}, {"id": 8, "role": 0}, now=NOW)
        self.browser.wait_for_text("#open-now", "No key is open.")
        focused = "return document.activeElement.className"
        self.assertIn("close-keys", self.browser.run(focused))
        self.assertEqual(self.browser.middle(CLOSE.format(1, 1)), before)

    def test_it_fits_from_a_phone_to_a_wide_screen_in_both_languages(self):
        long = "Deputy Stage Manager Prompt Side " + 20 * "x"
        self.desk.roles["k7d2m9qa"] = (long, [channel("Backstage " + 30 * "y")])
        self.show(
            {"id": 7, "role": 0, "open": [{"channel": 0, "since": NOW - 70 * MINUTE}], "screen": "hidden", "loss": 1,
             "delay": 12345, "battery": 0.01, "connected": False},  # fmt: skip
        )
        self.browser.wait_for_text("#open-now", "1:10:00")
        for language in ("de", "en"):
            self.browser.run(
                """const choice = document.getElementById('languages');
                choice.value = arguments[0];
                choice.dispatchEvent(new Event('change'));""",
                language,
            )
            for width in (320, 390, 844, 1280, 1920):
                self.browser.resize(width, 800, mobile=False)
                with self.subTest(language=language, width=width):
                    self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
