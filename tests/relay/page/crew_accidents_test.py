"""Nothing on the crew's page happens by accident: touch, sleep, other tabs and lost microphones."""

import contextlib
import os
import pathlib
import signal
import sys
import time
import unittest

from browser import MAX_TAP, wait_until
from mock_desk import channel
from page_test import ALL, HEARD, DriftingThumb, PageTest, key

FELT = """
    window.felt = [];
    navigator.vibrate = (pattern) => felt.push([pattern].flat().length > 3 ? 'ended' : 'pressed');"""
GIVEN = """
    const get = navigator.mediaDevices.getUserMedia.bind(navigator.mediaDevices);
    navigator.mediaDevices.getUserMedia = async (wish) => (window.given = await get(wish));"""
PROMPTS = """
    const get = navigator.mediaDevices.getUserMedia.bind(navigator.mediaDevices);
    window.prompts = [];
    navigator.mediaDevices.getUserMedia = (wish) => new Promise((resolve) => {
        prompts.push(async () => {
            const stream = await get(wish);
            (window.streams ??= []).push(stream);
            resolve(stream);
        });
    });"""
SLEEP = 5  # seconds


class TouchTest(DriftingThumb, PageTest):
    def with_channels(self, count, size=(390, 844)):
        self.desk.roles["k7d2m9qa"] = ("Stage Manager", [channel(f"Channel {i}") for i in range(1, count + 1)])
        self.browser.resize(*size)
        self.addCleanup(self.browser.resize, 390, 844)
        self.join()
        wait_until(lambda: self.desk.newest.states, "the first state")

    def scrolled(self):
        return self.browser.run("return document.getElementById('channels-area').scrollTop")

    def test_a_swipe_from_anywhere_opens_nothing_and_changes_no_level(self):
        self.with_channels(3)
        for y in range(20, 840, 41):
            for x in (100, 300):
                self.swipe(x, y, -200 if y > 422 else 200)
        self.next_state()
        self.assertEqual(self.ever_talked(), [])
        self.assertEqual(self.desk.newest.states[-1]["levels"], [1, 1, 1])

    def test_a_swipe_from_any_key_scrolls_keys_that_do_not_all_fit(self):
        self.with_channels(24)
        for y in range(150, 740, 59):
            self.browser.run("document.getElementById('channels-area').scrollTop = 0")
            self.swipe(100, y, -120)
            self.assertGreater(self.scrolled(), 50, f"from {y}")
        self.next_state()
        self.assertEqual(self.ever_talked(), [])

    def test_a_swipe_over_a_latched_key_leaves_the_latch(self):
        self.with_channels(2)
        self.latch()
        self.swipe(*self.browser.middle(key(1)), -150)
        self.next_state()
        self.assertEqual(self.state_of(key(1)), "latched")
        self.assertEqual(self.talk_posted(), [0])

    def test_keys_that_scroll_talk_and_latch_like_others(self):
        self.with_channels(24)
        self.latch(2)
        self.browser.tap(key(2))
        self.nothing_latched()
        x, y = self.browser.middle(key(1))
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        for step in range(1, 9):
            self.browser.fingers_move((x, y + 25 * step))
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])
        self.assertEqual(self.scrolled(), 0, "a finger that talks does not scroll")
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_thumb_that_rolls_as_it_lands_talks_until_it_is_lifted(self):
        self.join()
        x, y = self.browser.middle(key(1))
        now = time.time()
        self.browser.fingers_down((x, y), at=now)
        self.browser.fingers_move((x + 14, y + 6), at=now + 0.03)
        self.wait_for_talk([0])
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_second_finger_forbids_the_latch(self):
        self.join()
        first, second = self.browser.middle(key(1)), self.browser.middle(key(2))
        now = time.time()
        self.browser.fingers_down(first, at=now)
        self.browser.fingers_down(first, second, at=now + 0.02)
        self.wait_for_talk([0])
        self.browser.fingers_up(at=now + 0.9 * MAX_TAP)
        self.nothing_latched()

    def test_a_contact_that_grows_wide_keeps_talking(self):
        self.join()
        x, y = self.browser.middle(key(1))
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_move((x + 1, y, 70))
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_finger_beside_the_keys_does_not_keep_the_thumb_from_talking(self):
        self.join()
        beside = self.browser.middle("#role-name")
        self.browser.fingers_down(beside)
        self.browser.fingers_down(beside, self.browser.middle(key(2)))
        self.wait_for_talk([1])
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_touch_that_the_system_takes_away_is_felt_and_said(self):
        self.browser.before_each_page(self, FELT)
        self.join()
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.touch_cancelled()
        self.nothing_latched()
        self.browser.wait_for_text("#notice", "Your key was released by this device")
        self.browser.wait_for_text("#assertive", "Your key was released by this device")
        self.assertEqual(self.browser.run("return felt.at(-1)"), "ended")

    def test_all_keys_are_in_sight_of_up_to_six_channels_in_portrait_and_four_in_landscape(self):
        for count, size in [(1, (390, 844)), (6, (390, 844)), (4, (568, 320)), (4, (320, 568))]:
            with self.subTest(count=count, size=size):
                self.with_channels(count, size)
                rows = self.browser.run(
                    """return [...document.querySelectorAll('.key')].map((key) => {
                        const {left, top, right, bottom} = key.getBoundingClientRect();
                        const x = (left + right) / 2;
                        const inside = [top + 2, bottom - 2].map((y) => document.elementFromPoint(x, y)?.closest('.key') === key);
                        return [inside, bottom - top, right - left];
                    })"""
                )
                for inside, height, width in rows:
                    self.assertEqual(inside, [True, True])
                    self.assertGreaterEqual(min(height, width), 72)
                self.assertFalse(self.browser.run("return 'scrolls' in document.getElementById('channels-area').dataset"))

    def test_names_of_sixty_characters_are_whole_on_their_keys(self):
        names = ["W" * 60, "Electrics and Follow Spots on the Bridge and the Balcony too", "Main", "w" * 59 + "i"]
        self.desk.roles["k7d2m9qa"] = ("Stage Manager", [channel(name) for name in names])
        for size in [(320, 568), (390, 844), (568, 320), (844, 390)]:
            with self.subTest(size=size):
                self.browser.resize(*size)
                self.addCleanup(self.browser.resize, 390, 844)
                self.join()
                cut = self.browser.run(
                    """return [...document.querySelectorAll('.key')].filter((key) => {
                        const outer = key.getBoundingClientRect();
                        return [...key.children].some((part) => {
                            const inner = part.getBoundingClientRect();
                            return inner.bottom > outer.bottom || inner.right > outer.right + 1
                                || part.scrollWidth > part.clientWidth + 1;
                        });
                    }).map((key) => key.textContent)"""
                )
                self.assertEqual(cut, [])


class AccidentTest(PageTest):
    def felt(self):
        return self.browser.run("return felt.at(-1) ?? null")

    def test_a_lost_connection_that_ends_talking_is_felt_and_said(self):
        self.browser.before_each_page(self, FELT)
        self.join()
        self.latch()
        self.desk.refusals = [(503, {"error": "not-now"})] * 3
        self.desk.tell("goodbye", {"reason": "silent"})
        self.browser.wait_for_text("#assertive", "Connection lost")
        self.assertEqual(self.felt(), "ended")

    @contextlib.contextmanager
    def stopped_renderers(self):
        """As a device that sleeps: nothing of the pages runs meanwhile."""
        processes = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                command = (folder / "cmdline").read_bytes()
                if self.browser.folder.name.encode() in command and b"--type=renderer" in command:
                    processes.append(int(folder.name))
        self.assertTrue(processes)
        for process in processes:
            os.kill(process, signal.SIGSTOP)
        try:
            yield
        finally:
            for process in processes:
                os.kill(process, signal.SIGCONT)

    def test_a_device_that_slept_wakes_with_its_keys_off_and_says_so(self):
        self.browser.before_each_page(self, FELT)
        self.join()
        self.latch()
        self.wait_for_talk([0])
        with self.stopped_renderers():
            states = len(self.desk.newest.states)
            time.sleep(SLEEP)
        self.wait_for_talk([])
        self.assertTrue(all(state["talk"] == [] for state in self.desk.newest.states[states:]))
        self.browser.wait_for_text("#notice", "This device was asleep. Your keys are off.")
        self.assertEqual(self.felt(), "ended")
        self.nothing_latched()

    def test_a_key_that_the_desk_closes_is_felt_and_said_and_can_be_opened_again(self):
        self.browser.before_each_page(self, FELT)
        self.join()
        self.latch()
        self.wait_for_talk([0])
        self.desk.tell("closed", {"count": 1})
        self.nothing_latched()
        self.browser.wait_for_text("#notice", "The desk has closed your keys.")
        self.assertEqual(self.browser.run("return felt.at(-1)"), "ended")
        wait_until(lambda: self.desk.newest.states[-1]["closings"] == 1, "the desk is told that the page knows")
        self.latch()
        self.wait_for_talk([0])
        self.desk.tell("closed", {"count": 1})  # the same once more
        self.next_state()
        self.assertEqual(self.talk_posted(), [0])

    def test_back_with_an_open_key_opens_the_menu_and_leaves_from_there(self):
        self.join()
        self.latch()
        session = self.desk.newest.id
        self.browser.run("history.back()")
        self.browser.wait_for("#menu")
        self.browser.wait_for_text("#menu-talking", "You are talking on Main")
        self.assertEqual(self.state_of(key(1)), "latched")
        self.desk.tell("closed", {"count": 1})
        wait_until(lambda: not self.browser.shown("#menu-talking"), "the menu says so no longer")
        self.browser.tap("#menu-close")
        self.assertTrue(self.browser.shown("#desk-step"))
        self.browser.run("history.back()")
        self.browser.wait_for("#menu")
        self.browser.run("history.back()")
        self.browser.wait_for_text("#roles-message", "You have left. Your microphone is off.")
        wait_until(lambda: session in self.desk.left, "the desk is told")

    def test_a_second_page_of_the_same_browser_takes_over(self):
        self.join()
        self.latch()
        first = self.desk.newest.id
        self.browser.driver.switch_to.new_window("window")
        try:
            self.join("b3n8x1zz")
            wait_until(lambda: first in self.desk.left, "the first page has left")
            self.assertNotIn(self.desk.newest.id, self.desk.left)
        finally:
            self.browser.driver.close()
            self.browser.driver.switch_to.window(self.crew)
        self.browser.wait_for_text("#roles-message", "You opened the intercom in another tab")

    def test_a_latch_that_is_not_used_is_brought_to_mind(self):
        self.browser.before_each_page(self, FELT)
        self.join()
        self.desk.tell("forgotten", {"channels": [0]})
        self.desk.talkers((["Director"], False))
        self.browser.wait_for_text(".who-text", "Director")
        self.assertEqual(self.browser.text("#notice"), "Hamlet", "no key is open")
        self.latch()
        self.desk.tell("forgotten", {"channels": [0, 1]})
        self.browser.wait_for_text("#notice", "Main: open for 3 minutes without a word")
        self.browser.wait_for_text("#assertive", "Main: open for 3 minutes")
        self.assertEqual(self.felt(), "ended")
        self.assertEqual(self.state_of(key(1)), "latched")

    def test_a_muted_microphone_is_told_while_a_key_is_open(self):
        self.browser.before_each_page(self, GIVEN)
        self.join()
        self.browser.run("Object.defineProperty(given.getTracks()[0], 'muted', {get: () => window.isMuted})")
        self.browser.run("window.isMuted = true")
        self.assertEqual(self.browser.text("#notice"), "Hamlet")
        self.latch()
        self.browser.wait_for_text("#notice", "Your microphone is muted")
        self.browser.wait_for_text("#assertive", "Your microphone is muted")
        self.browser.run("window.isMuted = false")
        self.browser.wait_for_text("#notice", "You are talking on Main")

    def test_a_silent_microphone_is_told_while_a_key_is_open(self):
        self.browser.before_each_page(
            self,
            """
            navigator.mediaDevices.getUserMedia = async () => {
                const context = new AudioContext();
                const source = context.createConstantSource();
                window.gain = context.createGain();
                gain.gain.value = 0;
                const end = context.createMediaStreamDestination();
                const tone = context.createOscillator();
                tone.connect(gain).connect(end);
                tone.start();
                return end.stream;
            };""",
        )
        self.join()
        self.latch()
        self.browser.wait_for_text("#notice", "Your microphone is silent")
        self.browser.run("gain.gain.value = 0.3")
        self.browser.wait_for_text("#notice", "You are talking on Main")

    def test_a_microphone_that_is_lost_moves_no_key_and_comes_back_by_itself(self):
        self.browser.before_each_page(self, FELT + GIVEN)
        self.join()
        self.latch()
        before = self.browser.middle(key(2))
        self.browser.run("const [track] = given.getTracks(); track.stop(); track.dispatchEvent(new Event('ended'))")
        self.wait_for_state(key(1), "no-microphone")
        self.browser.wait_for_text("#assertive", "Your microphone is gone. Your keys are off.")
        self.assertEqual(self.felt(), "ended")
        self.assertEqual(self.browser.middle(key(2)), before)
        self.assertEqual(self.browser.run("return document.querySelector('#no-microphone').role || "
                                          "document.querySelector('#no-microphone').getAttribute('role')"), "alert")
        self.browser.run("navigator.mediaDevices.dispatchEvent(new Event('devicechange'))")
        self.wait_for_state(key(1), "idle")
        self.browser.wait_for_text("#notice", "Your microphone is back. Your keys are off.")
        self.assertEqual(self.browser.middle(key(2)), before)
        session = self.desk.newest.id
        self.latch()
        wait_until(lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD, "the tone is heard")

    def test_a_prompt_that_is_not_answered_offers_to_listen_only_and_may_be_answered_later(self):
        self.browser.before_each_page(self, PROMPTS)
        self.open("/#code=482913&role=k7d2m9qa")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.browser.wait_for("#joining-listen")
        self.browser.tap("#joining-listen")
        self.on_air()
        self.assertEqual(self.desk.joins[0]["microphone"], False)
        self.browser.wait_for_text("#no-microphone-text", "was not answered")
        self.browser.tap("#microphone-never")
        wait_until(lambda: not self.browser.shown("#no-microphone"), "the panel is gone")
        self.browser.run("prompts[0]()")
        self.wait_for_rejoin()
        self.on_air()
        self.assertEqual(self.desk.joins[1]["microphone"], True)
        self.wait_for_state(key(1), "idle")
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_up()

    def test_an_old_prompt_that_is_answered_late_leaves_the_new_microphone_alone(self):
        self.browser.before_each_page(self, PROMPTS)
        self.open("/#code=482913&role=k7d2m9qa")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.browser.wait_for("#joining-step")
        self.browser.tap("#joining-cancel")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        wait_until(lambda: self.browser.run("return prompts.length") == 2, "the second prompt")
        self.browser.run("prompts[1]()")
        self.on_air()
        self.browser.run("prompts[0]()")
        ended = "return streams.map((stream) => stream.getTracks()[0].readyState)"
        wait_until(lambda: self.browser.run(ended) == ["live", "ended"], "only the old one is closed")
        session = self.desk.newest.id
        self.latch()
        wait_until(lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD, "the tone is heard")


class EveryoneTest(PageTest):
    def name_and_state(self, selector):
        """As a screen reader is given them."""
        found = self.browser.run("return document.querySelector(arguments[0])", selector)
        self.browser.cdp("DOM.getDocument")
        del found
        document = self.browser.cdp("DOM.getDocument")["root"]["nodeId"]
        node = self.browser.cdp("DOM.querySelector", nodeId=document, selector=selector)["nodeId"]
        tree = self.browser.cdp("Accessibility.getPartialAXTree", nodeId=node, fetchRelatives=False)["nodes"][0]
        states = {entry["name"]: entry["value"].get("value") for entry in tree["properties"]}
        return tree["name"]["value"], states.get("pressed")

    def test_a_screen_reader_tells_held_from_latched_and_hears_what_its_key_does(self):
        self.join()
        name, pressed = self.name_and_state(key(1))
        self.assertEqual((name, pressed), ("Main Talk hold or tap", "false"))
        self.browser.hold(key(1))
        self.wait_for_state(key(1), "held")
        self.assertEqual(self.name_and_state(key(1)), ("Main TALKING let go to stop", "true"))
        self.browser.wait_for_text("#own", "You are talking on Main")
        self.browser.fingers_up()
        self.browser.wait_for_text("#own", "You are not talking")
        self.latch()
        self.assertEqual(self.name_and_state(key(1)), ("Main LATCHED tap to release", "true"))
        self.browser.wait_for_text("#own", "Latched: you are talking on Main until you tap again")
        self.assertEqual(self.name_and_state(ALL)[0], "All channels Talk hold or tap")

    def test_large_text_fits_and_is_larger(self):
        self.join()
        size = "return parseFloat(getComputedStyle(document.querySelector('.key-state')).fontSize)"
        before = self.browser.run(size)
        self.browser.run("document.documentElement.style.fontSize = '200%'")
        self.assertGreater(self.browser.run(size), 1.5 * before)
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 390)
        self.browser.tap("#levels-open")
        self.browser.tap("#level-rows li:nth-child(1) .mute")
        wait_until(lambda: self.desk.newest.states[-1]["levels"][0] == 0, "the controls can be reached")

    def test_a_role_and_a_channel_without_a_name_can_be_used(self):
        self.desk.roles["k7d2m9qa"] = ("", [channel("")])
        self.open(f"/#code={self.desk.code}")
        self.browser.wait_for("#roles-step")
        self.assertIn("Unnamed role", self.browser.text("#roles li:nth-child(1)"))
        self.browser.tap("#roles li:nth-child(1) button")
        self.on_air()
        self.assertEqual(self.browser.text("#channels .channel"), "Unnamed channel")


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
