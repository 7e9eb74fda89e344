"""The crew's page in the person's language, with their microphone, and with announcements to read."""

import sys
import unittest

from browser import wait_until
from mock_desk import channel
from page_test import HEARD, PageTest, key

DEVICES = """
    const devices = navigator.mediaDevices;
    const get = devices.getUserMedia.bind(devices);
    window.wishes = [];
    devices.getUserMedia = async (wish) => {
        wishes.push(wish.audio.deviceId?.ideal ?? null);
        const stream = await get(wish);
        const [track] = stream.getTracks();
        const id = wishes.at(-1) ?? 'built-in';
        track.getSettings = () => ({deviceId: id});
        return stream;
    };
    devices.enumerateDevices = async () => [
        {kind: 'audioinput', deviceId: 'built-in', label: 'Built-in'},
        {kind: 'audioinput', deviceId: 'headset', label: 'USB Headset'},
        {kind: 'audiooutput', deviceId: 'speakers', label: 'Speakers'},
    ];"""
SILENT_MICROPHONE = """
    navigator.mediaDevices.getUserMedia = async () =>
        new AudioContext().createMediaStreamDestination().stream;"""


class LanguageTest(PageTest):
    def german(self):
        self.browser.before_each_page(self, "Object.defineProperty(navigator, 'languages', {value: ['de-CH', 'en']})")

    def choose(self, selector, language):
        self.browser.run(
            """const choice = document.querySelector(arguments[0]);
            choice.value = arguments[1];
            choice.dispatchEvent(new Event('change'));""",
            selector,
            language,
        )

    def test_the_page_speaks_the_language_of_the_browser(self):
        self.german()
        self.open()
        self.browser.wait_for("#code-step")
        self.assertEqual(self.browser.text("#code-go"), "Weiter")
        self.assertEqual(self.browser.run("return document.documentElement.lang"), "de")

    def test_another_language_can_be_chosen_and_is_remembered(self):
        self.open(f"/#code={self.desk.code}")
        self.browser.wait_for("#roles-step")
        self.choose("#language select", "de")
        self.browser.wait_for_text("#roles-title", "Wer bist du heute?")
        self.open("/help")
        self.open()
        self.browser.wait_for_text("#roles-title", "Wer bist du heute?")

    def test_the_language_changes_during_a_call_and_keeps_it(self):
        self.join()
        self.latch()
        self.choose("#menu select.languages", "de")
        self.browser.wait_for_text(key(1), "BLEIBT AN")
        self.assertEqual(self.talk_posted(), [0])
        self.assertEqual(self.browser.text("#connection-state"), "Auf Sendung")
        self.browser.tap(key(1))
        self.nothing_latched()
        self.assertEqual(len(self.desk.joins), 1)

    def test_every_text_fits_a_small_phone_in_every_language(self):
        self.browser.resize(320, 568)
        self.addCleanup(self.browser.resize, 390, 844)
        self.desk.roles["k7d2m9qa"] = ("Stage Manager", [channel(f"Channel {i}") for i in range(1, 5)])
        cut = """return [...document.querySelectorAll('button, label, h1, h2, h3, p, li, select, .key-state, .key-hint')]
            .filter((part) => part.offsetParent && part.id !== 'notice' && !part.closest('.unseen, .who'))
            .filter((part) => part.scrollWidth > part.clientWidth + 1 && getComputedStyle(part).display !== 'inline'
                || part.getBoundingClientRect().right > innerWidth + 1)
            .map((part) => part.outerHTML.slice(0, 120))"""
        for language in self.languages():
            with self.subTest(language=language):
                self.open("/help")
                self.browser.run("localStorage.setItem('wingbell.language', arguments[0])", language)
                self.open()
                self.browser.wait_for("#code-step")
                self.assertEqual(self.browser.run(cut), [])
                self.join()
                self.latch()
                self.assertEqual(self.browser.run(cut), [])
                for dialog in ("menu", "levels"):
                    self.browser.tap(f"#{dialog}-open")
                    self.assertEqual(self.browser.run(cut), [])
                    self.browser.tap(f"#{dialog}-close")
                self.open("/help")
                self.open()
                self.browser.wait_for("#roles-step")
                self.browser.run("document.getElementById('check-start').click()")
                self.browser.wait_for("#check")
                self.assertEqual(self.browser.run(cut), [])
                self.browser.run("localStorage.clear()")

    def on_air(self):
        self.browser.wait_for("#desk-step")
        wait_until(lambda: self.state_of(key(1)) == "idle", "the keys can be used")

    def languages(self):
        self.open("/")
        self.browser.wait_for("#code-step")
        return self.browser.run("return [...document.querySelectorAll('#language option')].map((o) => o.value)")

    def test_a_notice_is_whole_on_a_small_phone_in_every_language(self):
        self.browser.resize(320, 568)
        self.addCleanup(self.browser.resize, 390, 844)
        notices = ["reconnected", "pageWasLeft", "slept", "cutOff", "unheard", "microphoneMuted", "microphoneSilent",
                   "microphoneGone", "microphoneIsBack"]  # fmt: skip
        self.join()
        cut = self.browser.driver.execute_async_script(
            """const [keys, done] = arguments;
            import('/sentences.js').then(({ languages }) => {
                const notice = document.getElementById('notice');
                notice.dataset.kind = 'notice';
                done(Object.values(languages).flatMap(({ texts }) => keys.map((key) => texts[key])).filter((text) => {
                    notice.textContent = text;
                    return notice.scrollHeight > notice.clientHeight + 1;
                }));
            });""",
            notices,
        )
        self.assertEqual(cut, [])


class MicrophoneTest(PageTest):
    def test_a_microphone_is_chosen_and_tested_before_joining_and_remembered(self):
        self.browser.before_each_page(self, DEVICES)
        self.open(f"/#code={self.desk.code}&role=k7d2m9qa")
        self.browser.wait_for("#join-last")
        self.browser.tap("#check-start")
        self.browser.wait_for_text("#check-words", "Your microphone is heard.")
        width = "return document.getElementById('check-bar').getBoundingClientRect().width"
        wait_until(lambda: self.browser.run(width) > 50, "the level is shown")
        self.browser.run(
            """const choice = document.querySelector('#check select');
            choice.value = 'headset';
            choice.dispatchEvent(new Event('change'));"""
        )
        wait_until(lambda: self.browser.run("return wishes.at(-1)") == "headset", "the other one is opened")
        self.browser.wait_for_text("#check-words", "Your microphone is heard.")
        opened = self.browser.run("return wishes.length")
        self.browser.tap("#join-last")
        self.on_air()
        self.assertEqual(self.browser.run("return wishes.length"), opened, "what was tested is used")
        session = self.desk.newest.id
        self.browser.hold(key(1))
        wait_until(lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD, "the tone is heard")
        self.browser.fingers_up()
        self.open("/help")
        self.join()
        self.assertEqual(self.browser.run("return wishes.at(-1)"), "headset")

    def test_another_microphone_is_taken_in_the_call_without_leaving(self):
        self.browser.before_each_page(self, DEVICES)
        self.join()
        self.browser.tap("#menu-open")
        wait_until(lambda: self.browser.shown("#menu .microphones"), "the microphones are offered")
        self.browser.run(
            """const choice = document.querySelector('#menu .microphones');
            choice.value = 'headset';
            choice.dispatchEvent(new Event('change'));"""
        )
        wait_until(lambda: self.browser.run("return wishes.at(-1)") == "headset", "the other one is opened")
        self.browser.tap("#menu-close")
        self.wait_for_state(key(1), "idle")
        session = self.desk.newest.id
        self.latch()
        wait_until(lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD, "the tone is heard")
        self.assertEqual(len(self.desk.joins), 1)

    def test_a_tested_microphone_that_brings_nothing_is_told(self):
        self.browser.before_each_page(self, SILENT_MICROPHONE)
        self.open(f"/#code={self.desk.code}")
        self.browser.wait_for("#roles-step")
        self.browser.tap("#check-start")
        self.browser.wait_for_text("#check-words", "Say something")
        self.browser.wait_for_text("#check-words", "Nothing is heard.")

    def test_going_back_to_the_code_closes_the_tested_microphone(self):
        self.browser.before_each_page(
            self,
            """
            const get = navigator.mediaDevices.getUserMedia.bind(navigator.mediaDevices);
            navigator.mediaDevices.getUserMedia = async (wish) => (window.given = await get(wish));""",
        )
        self.open(f"/#code={self.desk.code}")
        self.browser.wait_for("#roles-step")
        self.browser.tap("#check-start")
        self.browser.wait_for_text("#check-words", "Your microphone is heard.")
        self.browser.run("document.getElementById('other-code').click()")
        wait_until(lambda: self.browser.run("return given.getTracks()[0].readyState") == "ended", "it is closed")

    def test_a_browser_without_webrtc_is_told_so_before_anything_is_asked(self):
        self.browser.before_each_page(self, "delete window.RTCPeerConnection;")
        self.open(f"/#code={self.desk.code}")
        self.browser.wait_for("#no-voice-step")
        self.assertIn("Safari, Chrome, Edge or Firefox", self.browser.text("#no-voice-step"))
        self.assertFalse(self.browser.shown("#roles-step"))


class AnnouncementTest(PageTest):
    def test_an_announcement_can_be_read_while_it_is_spoken_and_after(self):
        self.browser.before_each_page(
            self,
            """
            const start = window.setTimeout.bind(window);
            window.setTimeout = (call, time) => start(call, time === 10000 ? window.announcementTimeout ?? time : time);""",
        )
        self.join()
        before = self.browser.middle(key(2))
        text = "Beginners to the stage, please. <b>Beginners</b>"
        self.desk.tell("announcement", {"text": text})
        self.desk.talkers(([], True))
        self.browser.wait_for_text("#announcement", text)
        self.browser.wait_for_text("#polite", "Announcement")
        self.assertEqual(self.browser.middle(key(2)), before)
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_up()
        self.nothing_latched()
        self.assertTrue(self.browser.shown("#announcement"))
        self.browser.run("window.announcementTimeout = 100")
        self.desk.talkers(([], False))
        wait_until(lambda: not self.browser.shown("#announcement"), "it goes some time after its end")

    def test_the_last_five_announcements_are_kept_on_the_page(self):
        self.join()
        for number in range(1, 8):
            self.desk.tell("announcement", {"text": f"Call {number}"})
        self.browser.wait_for_text("#announcement", "Call 7")
        self.browser.tap("#menu-open")
        self.browser.wait_for("#announcements")
        rows = self.browser.run("return [...document.querySelectorAll('#announcement-list li')].map((r) => r.textContent)")
        self.assertEqual(rows, ["Call 7", "Call 6", "Call 5", "Call 4", "Call 3"])


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
