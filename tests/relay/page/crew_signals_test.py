"""Calls and cue lights on the crew's page, and the wings view."""

import sys
import unittest

from browser import wait_until
from mock_desk import channel
from page_test import PageTest, key

CALLED = {"call": {"from": "Fly Floor", "mine": False, "acknowledged": False, "called": 0, "answered": []}}
STANDBY = {"light": {"kind": "standby", "text": "LX 12", "acknowledged": False}}
GO = {"light": {"kind": "go", "text": "LX 12", "acknowledged": False}}
ALERTS = """
    window.felt = [];
    navigator.vibrate = (pattern) => felt.push([pattern].flat().length);
    window.rung = 0;
    const start = OscillatorNode.prototype.start;
    OscillatorNode.prototype.start = function (...when) {
        rung += 1;
        return start.apply(this, when);
    };"""


class SignalsTest(PageTest):
    def with_channels(self, count, size=(390, 844)):
        channels = [channel(f"Channel {i}") for i in range(1, count + 1)]
        self.desk.roles["k7d2m9qa"] = ("Stage Manager", [*channels, channel("Backstage", talk=False)])
        self.browser.resize(*size)
        self.addCleanup(self.browser.resize, 390, 844)
        self.join()

    def answer(self):
        """As soon as the page takes a tap: not the one that was meant for what was there before."""
        count = len(self.desk.acknowledged)
        wait_until(lambda: self.browser.tap("#signal") or len(self.desk.acknowledged) > count, "the answer")

    def places(self):
        return self.browser.run(
            """return [...document.querySelectorAll('.key')].map((key) => {
                const {x, y, width, height} = key.getBoundingClientRect();
                return [x, y, width, height];
            })"""
        )

    def test_a_call_rings_and_vibrates_until_it_is_answered(self):
        self.browser.before_each_page(self, ALERTS)
        self.join()
        self.desk.signals(CALLED, {}, {})
        self.browser.wait_for_text("#signal-text", "Fly Floor calls on Main")
        self.browser.wait_for_text("#assertive", "Fly Floor calls on Main")
        self.assertTrue(self.browser.run("return document.querySelector('#channels .card').classList.contains('unanswered')"))
        first = wait_until(lambda: self.browser.run("return rung"), "it rings")
        wait_until(lambda: self.browser.run("return rung") > first, "it rings again")
        self.assertIn(5, self.browser.run("return felt"))
        self.answer()
        self.assertEqual(set(self.desk.acknowledged), {(0, True)})
        self.desk.signals({"call": {**CALLED["call"], "acknowledged": True}}, {}, {})
        wait_until(lambda: not self.browser.shown("#signal"), "it is answered")
        self.assertFalse(self.browser.run("return document.querySelector('.unanswered') !== null"))

    def test_a_tap_that_was_meant_for_the_header_answers_nothing(self):
        self.join()
        self.browser.run(
            "const now = performance.now(); performance.now = () => now; "
            "window.goOn = () => { performance.now = () => now + 1000; }"
        )
        self.desk.signals(CALLED, {}, {})
        self.browser.wait_for("#signal")
        self.browser.tap("#signal")
        self.browser.run("goOn()")
        self.browser.tap("#signal")
        wait_until(lambda: self.desk.acknowledged, "the answer")
        self.assertEqual(self.desk.acknowledged, [(0, True)])
        self.browser.run("delete performance.now")

    def test_lights_are_shown_and_answered_one_after_the_other(self):
        self.join()
        self.desk.signals(STANDBY, CALLED, {})
        self.browser.wait_for_text("#signal-text", "STANDBY LX 12 on Main")
        self.browser.wait_for_text("#signal-hint", "1 more waits")
        self.answer()
        self.assertEqual(set(self.desk.acknowledged), {(0, False)})
        acknowledged = {"light": {**STANDBY["light"], "acknowledged": True}}
        self.desk.signals(acknowledged, CALLED, {})
        self.browser.wait_for_text("#signal-text", "Fly Floor calls on Tech")
        self.assertEqual(self.browser.text("#channels li:nth-child(1) .cue"), "STANDBY LX 12")
        self.desk.signals(GO, {}, {})
        self.browser.wait_for_text("#signal-text", "GO LX 12 on Main")
        self.desk.signals({}, {}, {})
        wait_until(lambda: not self.browser.shown("#signal") and not self.browser.shown(".cue"), "all is over")

    def test_nothing_moves_and_talking_goes_on_when_a_call_or_light_comes(self):
        for count in (1, 3, 12):
            for size in ((390, 844), (568, 320)):
                with self.subTest(channels=count, size=size):
                    self.open("/help")
                    self.with_channels(count, size)
                    before = self.places()
                    self.browser.hold(key(1))
                    self.wait_for_talk([0])
                    self.desk.signals({**CALLED, **STANDBY}, *[{} for _ in range(count - 1)], STANDBY)
                    self.browser.wait_for("#signal")
                    self.assertEqual(self.places(), before)
                    self.next_state()
                    self.assertEqual(self.talk_posted(), [0])
                    self.browser.fingers_up()
                    self.nothing_latched()

    def test_one_calls_sees_the_answers_and_ends_the_call(self):
        self.join()
        self.browser.tap("#calls-open")
        self.browser.wait_for("#calls")
        self.browser.tap("#call-rows li:nth-child(2) button")
        wait_until(lambda: self.desk.calls == [(1, True)], "the desk is told")
        mine = {"from": "Stage Manager", "mine": True, "acknowledged": False, "called": 3, "answered": ["Lighting"]}
        self.desk.signals({}, {"call": mine}, {})
        self.browser.wait_for_text("#call-rows li:nth-child(2) .call-state", "1 of 3 answered (Lighting)")
        self.assertFalse(self.browser.shown("#signal"), "one is not called by oneself")
        self.browser.tap("#call-rows li:nth-child(2) button")
        wait_until(lambda: self.desk.calls[-1] == (1, False), "the call is ended")

    def test_who_calls_too_often_is_told_to_wait(self):
        self.join()
        self.desk.call_refusals.append((429, {"error": "slow-down", "seconds": 7}))
        self.browser.tap("#calls-open")
        self.browser.wait_for("#calls")
        self.browser.tap("#call-rows li:nth-child(1) button")
        self.browser.wait_for_text("#notice", "Wait 7 seconds")

    def test_a_lost_connection_ends_the_ringing(self):
        self.join()
        self.desk.signals(CALLED, {}, {})
        self.browser.wait_for("#signal")
        self.desk.tell("goodbye", {"reason": "off-air"})
        wait_until(lambda: not self.browser.shown("#signal"), "silence")

    def test_the_wings_view_is_black_and_kept(self):
        self.join()
        self.browser.tap("#menu-open")
        self.browser.wait_for("#menu")
        self.browser.tap("#wings")
        self.browser.tap("#menu-close")
        black = "return getComputedStyle(document.body).backgroundColor + getComputedStyle(document.querySelector('.key')).backgroundColor"
        self.assertEqual(self.browser.run(black), 2 * "rgb(0, 0, 0)")
        self.open("/help")
        self.join()
        self.assertEqual(self.browser.run(black), 2 * "rgb(0, 0, 0)")

    def test_the_dialog_of_calls_fits_in_both_languages(self):
        self.desk.roles["k7d2m9qa"] = ("Stage Manager", [channel("Deputy " + 30 * "x"), channel("Main")])
        for language in ("de", "en"):
            self.open("/help")
            self.browser.run("localStorage.setItem('wingbell.language', arguments[0])", language)
            self.browser.resize(320, 568)
            self.addCleanup(self.browser.resize, 390, 844)
            self.open(f"/#code={self.desk.code}&role=k7d2m9qa")
            self.browser.wait_for("#join-last")
            self.browser.tap("#join-last")
            self.browser.wait_for("#desk-step")
            wait_until(lambda: self.browser.run("return document.getElementById('desk-step').dataset.status") == "on-air", "")
            self.desk.signals({"call": {**CALLED["call"], "mine": True, "called": 250, "answered": 3 * [40 * "n"]}}, STANDBY)
            self.browser.wait_for("#signal")
            self.browser.run("document.getElementById('calls').showModal()")
            for selector in ("#calls", "#signal"):
                script = "const e = document.querySelector(arguments[0]); return e.scrollWidth - e.clientWidth"
                with self.subTest(language=language, part=selector):
                    self.assertLessEqual(self.browser.run(script, selector), 0)


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
