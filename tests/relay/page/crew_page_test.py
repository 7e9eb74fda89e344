"""The crew's page, used as a person uses it, against a mock of the desk."""

import sys
import unittest

from browser import wait_until
from mock_desk import channel
from page_test import ALL, HEARD, SILENT, PageTest, key


class JoiningTest(PageTest):
    def type_code(self, code):
        self.browser.wait_for("#code-step")
        self.browser.find("#code").send_keys(code)

    def test_the_code_leads_to_the_roles_and_how_many_are_on_each(self):
        self.desk.present = {"b3n8x1zz": 2}
        self.open()
        self.type_code("482913")
        self.browser.wait_for("#roles-step")
        rows = self.browser.run("return [...document.querySelectorAll('.role')].map((row) => row.innerText.split('\\n'))")
        self.assertEqual(rows[0][0], "Stage Manager")
        self.assertIn("no one yet", " ".join(rows[0]))
        self.assertIn("2 connected", " ".join(rows[1]))
        self.assertFalse(self.browser.shown("#join-last"), "this browser has no earlier visit")

    def test_the_code_may_be_typed_with_a_space(self):
        self.open()
        self.type_code("482 913")
        self.browser.wait_for("#roles-step")

    def test_a_short_code_is_not_sent(self):
        self.open()
        self.type_code("4829\n")
        self.browser.wait_for_text("#code-message", "six digits")

    def test_a_wrong_code_is_reported_and_another_one_works(self):
        self.open()
        self.type_code("111111")
        self.browser.wait_for_text("#code-message", "Wrong code")
        self.type_code("482913")
        self.browser.wait_for("#roles-step")

    def test_too_many_wrong_codes_are_counted_down(self):
        self.desk.role_refusals = [(429, {"error": "slow-down", "seconds": 2})]
        self.open()
        self.type_code("482913")
        self.browser.wait_for_text("#code-message", "Wait 2 seconds")
        self.assertFalse(self.browser.find("#code-go").is_enabled())
        self.browser.wait_for_text("#code-message", "Wait 1 second.")
        wait_until(lambda: self.browser.find("#code-go").is_enabled(), "one may try again")
        self.browser.tap("#code-go")
        self.browser.wait_for("#roles-step")

    def test_an_unresponsive_desk_is_reported_and_tried_again(self):
        self.desk.role_refusals = [(502, "not the desk's words")]
        self.open("/#code=482913")
        self.browser.wait_for_text("#code-message", "The desk is not responding")
        self.browser.wait_for("#roles-step")

    def test_a_scanned_card_offers_its_role_and_hides_the_code(self):
        self.open("/#code=482913&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        self.assertEqual(self.browser.text("#join-last"), "Join as Director")
        self.assertEqual(self.browser.run("return location.href"), self.desk.address + "/")

    def test_a_card_with_a_key_needs_no_code_and_is_remembered(self):
        card = {"key": self.desk.card_keys["b3n8x1zz"], "cardRole": "b3n8x1zz"}
        self.open(f"/#key={card['key']}&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        self.assertEqual(self.browser.run("return location.href"), self.desk.address + "/")
        self.browser.tap("#roles li:nth-child(1) button")
        self.on_air()
        self.assertEqual(self.desk.joins, [{**card, "role": "k7d2m9qa", "microphone": True}])
        self.open("/help")
        self.open()
        self.browser.wait_for_text("#join-last", "Join as Stage Manager")

    def test_the_card_for_the_door_has_no_role(self):
        self.open(f"/#key={self.desk.card_keys['']}")
        self.browser.wait_for("#roles-step")
        self.browser.tap("#roles li:nth-child(1) button")
        self.on_air()
        self.assertEqual(self.desk.joins[0], {"key": self.desk.card_keys[""], "role": "k7d2m9qa", "microphone": True})

    def test_a_card_that_is_no_longer_valid_is_told_and_the_code_still_works(self):
        self.open(f"/#key={'x' * 22}&role=b3n8x1zz")
        self.browser.wait_for_text("#code-message", "That card is no longer valid.")
        self.type_code("482913")
        self.browser.wait_for("#roles-step")

    def test_another_card_scanned_into_the_open_page_leaves_the_desk_for_its_role(self):
        self.join()
        session = self.desk.newest.id
        self.browser.run("location.hash = 'code=482913&role=b3n8x1zz'")
        self.browser.wait_for("#join-last")
        self.assertEqual(self.browser.text("#join-last"), "Join as Director")
        wait_until(lambda: session in self.desk.left, "the first role is left")

    def test_the_code_and_the_last_role_are_remembered(self):
        self.join("p0p0p0p0")
        self.open("/help")
        self.open()
        self.browser.wait_for("#join-last")
        self.assertEqual(self.browser.text("#join-last"), "Join as Fly Floor")

    def test_a_code_that_has_changed_is_asked_for(self):
        self.open("/#code=482913")
        self.browser.wait_for("#roles-step")
        self.desk.code = "000111"
        self.open("/help")
        self.open()
        self.browser.wait_for_text("#code-message", "The code has changed")
        self.assertEqual(self.browser.find("#code").get_attribute("value"), "")

    def test_a_card_of_a_role_that_is_gone_leaves_the_choice(self):
        self.open("/#code=482913&role=gone")
        self.browser.wait_for_text("#roles-message", "no longer in the show. Choose another.")
        self.assertFalse(self.browser.shown("#join-last"))

    def test_a_role_that_is_removed_before_the_tap_is_named(self):
        self.open("/#code=482913&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        del self.desk.roles["b3n8x1zz"]
        self.browser.tap("#join-last")
        self.browser.wait_for_text("#roles-message", "The role Director is no longer in the show. Choose another.")

    def test_a_full_desk_is_reported(self):
        self.desk.refusals = [(503, {"error": "full"})]
        self.open("/#code=482913&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.browser.wait_for_text("#roles-message", "The intercom is full")

    def test_a_desk_that_is_not_ready_is_tried_again(self):
        self.desk.refusals = [(503, {"error": "not-now"})]
        self.join()
        self.assertEqual(len(self.desk.joins), 2)

    def test_joining_can_be_cancelled(self):
        self.desk.refusals = [(503, {"error": "not-now"})] * 50
        self.open("/#code=482913&role=b3n8x1zz")
        self.browser.wait_for("#join-last")
        self.browser.tap("#join-last")
        self.browser.wait_for_text("#joining-state", "Connection lost")
        self.browser.tap("#joining-cancel")
        self.browser.wait_for("#roles-step")

    def test_the_counts_of_the_roles_are_updated(self):
        self.open("/#code=482913")
        self.browser.wait_for("#roles-step")
        self.desk.present = {"k7d2m9qa": 4}
        self.browser.wait_for_text(".role", "4 connected")

    def test_names_are_shown_unchanged(self):
        names = ["<script>alert(1)</script>", "مدير المسرح", "🎭 Prompt", "W" * 200]
        self.desk.roles = {f"role{i}": (name, [channel(name)]) for i, name in enumerate(names)}
        self.browser.resize(320, 640)
        self.addCleanup(self.browser.resize, 390, 844)
        self.open("/#code=482913")
        self.browser.wait_for("#roles-step")
        shown = self.browser.run("return [...document.querySelectorAll('.role-name')].map((name) => name.textContent)")
        self.assertEqual(shown, names)
        for role in self.desk.roles:
            self.open("/help")
            self.join(role)
            name = self.desk.roles[role][0]
            self.assertEqual(self.browser.text(".channel"), name)
            self.assertEqual(self.browser.text("#role-name"), name)
            self.assertEqual(self.browser.run("return document.scripts.length"), 1)
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 320)

    def test_every_step_fits_a_small_phone(self):
        self.browser.resize(320, 640)
        self.addCleanup(self.browser.resize, 390, 844)
        for path, step in [("/", "#code-step"), ("/#code=482913", "#roles-step"), ("/help", "h1")]:
            self.open("/help")
            self.open(path)
            self.browser.wait_for(step)
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 320, step)
        self.open("/")
        self.join()
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 320)
        heights = self.browser.run("return [...document.querySelectorAll('.key')].map((k) => k.offsetHeight)")
        self.assertGreaterEqual(min(heights), 72)
        sizes = self.browser.run(
            "return [...document.querySelectorAll('input')].map((i) => parseFloat(getComputedStyle(i).fontSize))"
        )
        self.assertGreaterEqual(min(sizes), 16, "smaller ones make phones zoom")


class TalkingTest(PageTest):
    def test_joining_tells_the_desk_who_comes_and_that_there_is_a_microphone(self):
        self.join()
        self.assertEqual(self.desk.joins, [{"code": "482913", "role": "k7d2m9qa", "microphone": True}])
        self.assertEqual(self.desk.newest.answer["direction"], "sendrecv")

    def test_the_microphone_is_heard_while_a_key_is_held_and_only_then(self):
        self.join()
        session = self.desk.newest.id
        loud = lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD  # noqa: E731
        quiet = lambda: self.at_far_end("far.level(arguments[0])", session) < SILENT  # noqa: E731
        wait_until(quiet, "nothing is heard before")
        self.browser.hold(key(1))
        wait_until(loud, "the tone is heard")
        self.browser.fingers_up()
        wait_until(quiet, "nothing is heard after")
        self.latch()
        wait_until(loud, "the tone is heard again")

    def test_the_level_of_the_microphone_moves_while_it_is_open(self):
        self.join()
        width = "return document.getElementById('meter-bar').getBoundingClientRect().width"
        self.browser.run("gc()")  # an audio node that only a suspended context holds would go
        self.browser.hold(key(1))
        wait_until(lambda: self.browser.run(width) > 50, "the level is shown")
        self.browser.fingers_up()
        wait_until(lambda: self.browser.run(width) == 0, "the level is gone")

    def test_a_held_key_talks_until_it_is_released(self):
        self.join()
        self.browser.hold(key(2))
        self.wait_for_talk([1])
        self.assertEqual(self.state_of(key(2)), "held")
        self.assertIn("TALKING", self.browser.text(key(2)))
        self.assertEqual(self.browser.text("#notice"), "You are talking on Tech")
        self.browser.fingers_up()
        self.nothing_latched()

    def test_a_tap_latches_and_the_next_one_releases(self):
        self.join()
        self.latch()
        self.wait_for_talk([0])
        self.assertIn("LATCHED", self.browser.text(key(1)))
        self.browser.tap(key(1))
        self.nothing_latched()

    def test_the_key_for_all_talks_on_every_channel(self):
        self.join()
        self.browser.hold(ALL)
        self.wait_for_talk([0, 1])
        self.browser.fingers_up()
        self.nothing_latched()
        self.browser.tap(ALL)
        self.wait_for_talk([0, 1])
        self.browser.tap(key(1))
        self.wait_for_talk([1])

    def test_a_palm_presses_nothing(self):
        self.join()
        posts = len(self.desk.newest.states)
        x, y = self.browser.middle(key(1))
        self.browser.fingers_down((x, y, 70))
        self.browser.fingers_up()
        wait_until(lambda: len(self.desk.newest.states) > posts, "the next keep-alive")
        self.assertTrue(all(state["talk"] == [] for state in self.desk.newest.states))

    def test_a_long_touch_opens_no_menu_and_selects_no_text(self):
        self.join()
        script = """
            const key = document.querySelector(arguments[0]);
            const style = getComputedStyle(key);
            const menu = new Event('contextmenu', {cancelable: true, bubbles: true});
            key.dispatchEvent(menu);
            return [menu.defaultPrevented, style.userSelect, style.touchAction];"""
        self.assertEqual(self.browser.run(script, key(1)), [True, "none", "none"])

    def test_space_and_enter_hold_and_latch_the_key_that_has_the_focus(self):
        self.join()
        self.browser.run("document.querySelector(arguments[0]).focus()", key(1))
        self.browser.hold_key(" ", "Space")
        self.wait_for_talk([0])
        self.browser.key_up(" ", "Space")
        self.nothing_latched()
        self.browser.tap_key("Enter", "Enter")
        self.wait_for_state(key(1), "latched")
        self.browser.tap_key(" ", "Space")
        self.nothing_latched()

    def test_a_key_that_loses_the_focus_is_released(self):
        self.join()
        self.browser.run("document.querySelector(arguments[0]).focus()", key(1))
        self.browser.hold_key(" ", "Space")
        self.wait_for_talk([0])
        self.browser.run("document.activeElement.blur()")
        self.nothing_latched()

    def test_numbers_hold_the_keys_in_their_order_and_0_holds_all(self):
        self.join()
        self.browser.hold_key("2", "Digit2")
        self.wait_for_talk([1])
        self.browser.key_up("2", "Digit2")
        self.nothing_latched()
        self.browser.hold_key("0", "Digit0")
        self.wait_for_talk([0, 1])
        self.browser.key_up("0", "Digit0")
        self.nothing_latched()
        self.browser.tap_key("1", "Digit1")
        self.wait_for_state(key(1), "latched")

    def test_a_screen_readers_click_latches_and_releases(self):
        self.join()
        pressed = "return document.querySelector(arguments[0]).getAttribute('aria-pressed')"
        self.assertEqual(self.browser.run(pressed, key(1)), "false")
        self.browser.run("document.querySelector(arguments[0]).click()", key(1))
        self.wait_for_talk([0])
        self.assertEqual(self.browser.run(pressed, key(1)), "true")
        self.browser.run("document.querySelector(arguments[0]).click()", key(1))
        self.nothing_latched()

    def test_a_window_that_loses_the_focus_releases_what_is_held_and_keeps_what_is_latched(self):
        self.join()
        self.latch(1)
        self.browser.hold_key("2", "Digit2")
        self.wait_for_talk([0, 1])
        self.browser.run("window.dispatchEvent(new Event('blur'))")
        self.wait_for_talk([0])

    def test_leaving_the_page_for_another_one_turns_the_keys_off_and_says_so(self):
        self.join()
        self.latch()
        self.wait_for_talk([0])
        self.browser.driver.switch_to.new_window("tab")
        self.wait_for_talk([])
        self.browser.driver.close()
        self.browser.driver.switch_to.window(self.crew)
        self.browser.wait_for_text("#notice", "You left the page. Your keys are off.")
        self.nothing_latched()

    def test_a_microphone_that_the_desk_does_not_hear_is_reported_while_talking(self):
        self.join()
        self.desk.tell("unheard", {})
        self.desk.talkers((["Director"], False))
        self.browser.wait_for_text(".who-text", "Director")
        self.assertEqual(self.browser.text("#notice"), "Hamlet")
        self.latch()
        self.desk.tell("unheard", {})
        self.browser.wait_for_text("#notice", "The desk hears nothing from your microphone")

    def test_states_are_numbered_upwards_and_come_as_keep_alives(self):
        self.join()
        session = self.desk.newest
        self.latch()
        wait_until(lambda: len(session.states) >= 4, "keep-alives")
        numbers = [state["number"] for state in session.states]
        self.assertEqual(numbers, list(range(1, len(numbers) + 1)))

    def test_a_microphone_that_goes_away_turns_the_keys_off_and_can_be_tried_again(self):
        self.browser.before_each_page(
            self,
            """
            const get = navigator.mediaDevices.getUserMedia.bind(navigator.mediaDevices);
            navigator.mediaDevices.getUserMedia = async (wish) => (window.given = await get(wish));""",
        )
        self.join()
        self.latch()
        self.browser.run("const [track] = given.getTracks(); track.stop(); track.dispatchEvent(new Event('ended'))")
        self.wait_for_talk([])
        self.browser.wait_for_text("#no-microphone-text", "Your microphone was unplugged")
        self.wait_for_state(key(1), "no-microphone")
        self.browser.tap("#microphone-again")
        self.wait_for_state(key(1), "idle")
        self.latch()
        session = self.desk.newest.id
        wait_until(lambda: self.at_far_end("far.level(arguments[0])", session) > HEARD, "the tone is heard")
        self.assertEqual(len(self.desk.joins), 1)

    def test_the_setting_of_the_microphone_changes_on_the_desk_and_is_remembered(self):
        self.join()
        self.browser.tap("#menu-open")
        self.browser.wait_for("#menu")
        self.browser.tap("#menu label:nth-of-type(2)")
        self.browser.tap("#menu-close")
        self.latch()
        self.wait_for_talk([0])
        self.open("/help")
        self.open()
        self.browser.wait_for("#roles-step")
        self.assertTrue(self.browser.run("return document.querySelector('[name=setting][value=loudspeaker]').checked"))


class HearingTest(PageTest):
    def levels_posted(self):
        states = self.desk.newest.states
        return states[-1]["levels"] if states else None

    def test_a_channel_has_a_key_if_the_role_talks_and_a_level_if_it_listens(self):
        self.join("b3n8x1zz")
        names = "return [...document.querySelectorAll(arguments[0])].map((name) => name.textContent)"
        self.assertEqual(self.browser.run(names, "#channels .key .channel"), ["Notes"])
        self.assertEqual(self.browser.run(names, "#heard .channel"), ["Main"])
        self.assertEqual(self.browser.run(names, "#level-rows h3"), ["Main"])
        self.assertFalse(self.browser.shown(ALL), "one channel needs no key for all")

    def test_all_levels_are_full_at_first(self):
        self.join()
        wait_until(lambda: self.levels_posted() == [1, 1, 1], "full levels")

    def test_a_level_is_posted_and_remembered_for_its_role_and_channel(self):
        self.join()
        self.browser.tap("#levels-open")
        for _ in range(5):
            self.browser.tap("#level-rows li:nth-child(2) .quieter")
        wait_until(lambda: self.levels_posted() == [1, 0.25, 1], "half of the level")
        self.assertEqual(self.browser.text("#level-rows li:nth-child(2) .level-text"), "50 %")
        self.assertEqual(self.browser.text("#own"), "Tech 50 %")
        self.open("/help")
        self.join()
        wait_until(lambda: self.levels_posted() == [1, 0.25, 1], "the level of the last visit")
        self.open("/help")
        self.join("p0p0p0p0")
        wait_until(lambda: self.levels_posted() == [1], "another role's own level")

    def test_mute_silences_a_channel_and_brings_its_level_back(self):
        self.join()
        self.browser.tap("#levels-open")
        self.browser.tap("#level-rows li:nth-child(3) .mute")
        wait_until(lambda: self.levels_posted() == [1, 1, 0], "muted")
        self.browser.tap("#levels-close")
        self.assertTrue(self.browser.shown("#heard .silenced"))
        self.assertFalse(self.browser.shown("#channels .silenced"))
        self.open("/help")
        self.join()
        wait_until(lambda: self.levels_posted() == [1, 1, 0], "still muted on the next visit")
        self.browser.tap("#levels-open")
        self.browser.tap("#level-rows li:nth-child(3) .mute")
        wait_until(lambda: self.levels_posted() == [1, 1, 1], "heard again")

    def test_each_channel_names_who_is_talking(self):
        self.join()
        self.desk.talkers((["Director", "Fly Floor"], False), ([], True), ([], False))
        self.browser.wait_for_text("#channels li:nth-child(1) .who", "2 talking: Director, Fly Floor")
        self.assertIn("Announcement", self.browser.text("#channels li:nth-child(2) .who"))
        self.assertEqual(self.browser.text("#heard .who-text"), "Quiet")
        self.browser.wait_for_text("#polite", "Director on Main, Fly Floor on Main, Announcement on Tech")
        self.desk.talkers(([], False), ([], False), ([], False))
        self.browser.wait_for_text("#channels li:nth-child(1) .who", "Quiet")

    def test_the_keys_do_not_move_when_someone_talks_or_a_notice_appears(self):
        self.join()
        before = self.browser.middle(key(2))
        self.desk.talkers(*[(["Director", "Fly Floor", "W" * 100], True)] * 3)
        self.browser.wait_for_text(".who-text", "Announcement")
        self.assertEqual(self.browser.middle(key(2)), before)
        self.latch(2)
        self.assertEqual(self.browser.middle(key(2)), before)
        self.desk.tell("unheard", {})
        self.browser.wait_for_text("#notice", "The desk hears nothing")
        self.assertEqual(self.browser.middle(key(2)), before)

    def test_a_browser_that_needs_another_tap_for_sound_gets_a_button(self):
        self.open("/#code=482913&role=k7d2m9qa")
        self.browser.wait_for("#join-last")
        self.browser.run(
            """window.play = HTMLMediaElement.prototype.play;
            HTMLMediaElement.prototype.play = async () => { throw new DOMException('', 'NotAllowedError'); };"""
        )
        self.browser.tap("#join-last")
        self.browser.wait_for("#hear")
        self.browser.run("HTMLMediaElement.prototype.play = window.play")
        self.browser.tap("#hear")
        wait_until(lambda: not self.browser.shown("#hear"), "the button goes")
        self.assertFalse(self.browser.run("return document.getElementById('sound').paused"))

    def test_the_screen_is_kept_awake_while_connected(self):
        self.browser.before_each_page(
            self,
            """
            window.locks = 0;
            Object.defineProperty(navigator, 'wakeLock', {value: {request: async () => {
                window.locks += 1;
                return {released: false, release: async () => { window.locks -= 1; }};
            }}});""",
        )
        self.join()
        wait_until(lambda: self.browser.run("return window.locks") == 1, "the screen is kept awake")
        self.browser.tap("#menu-open")
        self.browser.tap("#leave")
        wait_until(lambda: self.browser.run("return window.locks") == 0, "the screen may sleep again")


class LosingTheConnectionTest(PageTest):
    def check_return(self, joins=2):
        """The page comes back by itself, as the one it was, with its keys off."""
        first = self.desk.joins[0]
        before = next(iter(self.desk.sessions))
        self.wait_for_rejoin(joins)
        self.browser.wait_for_text("#notice", "You were reconnected. Your keys are off.")
        self.on_air()
        self.assertEqual(self.desk.joins[-1]["role"], first["role"])
        self.assertEqual(self.desk.joins[-1]["replaces"], before)
        self.nothing_latched()

    def test_a_desk_that_forgot_the_session_is_joined_again(self):
        self.join()
        self.latch()
        self.desk.forget_sessions()
        self.check_return()

    def test_a_session_that_the_desk_ended_is_joined_again(self):
        self.join()
        self.latch()
        self.desk.tell("goodbye", {"reason": "silent"})
        self.check_return()

    def test_audio_that_stops_leads_to_a_new_connection(self):
        self.join()
        self.latch()
        self.at_far_end("far.fallSilent(arguments[0])", self.desk.newest.id)
        self.check_return()

    def test_a_closed_connection_is_replaced(self):
        self.join()
        self.latch()
        self.at_far_end("far.hangUp(arguments[0])", self.desk.newest.id)
        self.check_return()

    def test_missing_events_lead_to_a_new_connection(self):
        self.join()
        self.latch()
        self.desk.beats = False
        wait_until(lambda: len(self.desk.joins) >= 2, "the page joins again", timeout=30)
        self.desk.beats = True
        self.check_return()

    def test_while_the_connection_is_lost_the_page_says_so_and_no_key_works(self):
        self.join()
        self.latch()
        self.desk.refusals = [(503, {"error": "not-now"})] * 50
        self.desk.tell("goodbye", {"reason": "silent"})
        self.browser.wait_for_text("#connection-state", "Connection lost, reconnecting…")
        self.wait_for_state(key(1), "offline")
        self.assertIn("Offline", self.browser.text(key(1)))
        self.browser.tap(key(1))
        self.assertEqual(self.state_of(key(1)), "offline")
        self.browser.wait_for_text("#assertive", "Connection lost")

    def test_the_network_coming_back_makes_the_next_try_at_once(self):
        # A page whose timers have stopped has no other reason to try again.
        source = """
            const start = window.setInterval.bind(window);
            window.setInterval = (call, time) => start(() => { if (!window.still) call(); }, time);
            const later = window.setTimeout.bind(window);
            window.setTimeout = (call, time) => later(() => { if (!window.still) call(); }, time);"""
        self.browser.before_each_page(self, source)
        self.join()
        self.browser.run("window.still = true")
        self.desk.tell("goodbye", {"reason": "silent"})
        self.browser.wait_for_text("#connection-state", "Connection lost")
        self.assertEqual(len(self.desk.joins), 1)
        self.browser.run("window.dispatchEvent(new Event('online'))")
        self.wait_for_rejoin()
        self.on_air()

    def test_a_desk_that_limits_the_rate_is_not_lost(self):
        self.join()
        posts = len(self.desk.newest.states)
        self.desk.state_refusals = [(429, {"error": "slow-down", "seconds": 1})]
        self.latch()
        wait_until(lambda: len(self.desk.newest.states) > posts, "the next keep-alive")
        self.assertEqual(self.talk_posted(), [0])
        self.assertEqual(self.state_of(key(1)), "latched")
        self.assertEqual(len(self.desk.joins), 1)

    def test_a_desk_that_does_not_respond_for_a_while_is_not_lost(self):
        self.browser.before_each_page(
            self,
            """
            const original = window.fetch;
            window.failed = 0;
            window.fetch = (...request) => {
                const response = original(...request);
                response.catch(() => { window.failed += 1; });
                return response;
            };""",
        )
        self.join()
        self.desk.silent = True
        self.latch()
        wait_until(lambda: self.browser.run("return window.failed") > 0, "the page gives up a request")
        self.desk.silent = False
        self.wait_for_talk([0])
        self.assertEqual(self.state_of(key(1)), "latched")
        self.assertEqual(len(self.desk.joins), 1)

    def test_off_air_is_shown_and_retried(self):
        self.join()
        self.desk.refusals = [(503, {"error": "not-now"})]
        self.desk.tell("goodbye", {"reason": "off-air"})
        self.browser.wait_for_text("#connection-state", "Off air")
        self.wait_for_rejoin()
        self.browser.wait_for_text("#connection-state", "Off air")
        self.on_air()

    def test_after_a_hand_over_the_page_is_back_with_its_levels_and_its_keys_off(self):
        self.join()
        self.browser.tap("#levels-open")
        self.browser.tap("#level-rows li:nth-child(1) .mute")
        self.browser.tap("#levels-close")
        self.latch()
        muted = wait_until(
            lambda: [post["levels"] for post in self.desk.newest.states if post["levels"][0] == 0], "the level"
        )[-1]
        self.desk.tell("goodbye", {"reason": "handed-over", "retry": 120})
        self.check_return()
        posts = wait_until(lambda: self.desk.newest.states, "the state after the hand-over")
        self.assertEqual([(post["talk"], post["levels"]) for post in posts], [([], muted)] * len(posts))

    def test_a_desk_that_was_killed_and_started_again_is_noticed_without_waiting_for_a_timer(self):
        source = """
            const start = window.setInterval.bind(window);
            window.setInterval = (call, time) => start(() => { if (!window.still) call(); }, time);"""
        self.browser.before_each_page(self, source)
        self.join()
        self.browser.run("window.still = true")
        self.desk.forget_sessions()
        self.wait_for_rejoin()
        self.assertEqual(self.desk.strays[:1], ["request"], "the page asks before the browser opens the events again")

    def test_a_role_that_is_gone_after_a_restart_leads_to_the_others(self):
        self.join("b3n8x1zz")
        del self.desk.roles["b3n8x1zz"]
        self.desk.forget_sessions()
        self.browser.wait_for_text("#roles-message", "The role Director is no longer in the show. Choose another.")
        self.assertFalse(self.browser.shown("#join-last"))
        self.assertFalse(self.browser.shown("#desk-step"))

    def test_a_code_that_changed_during_the_show_is_asked_for(self):
        self.join()
        self.desk.code = "000111"
        self.desk.forget_sessions()
        self.browser.wait_for_text("#code-message", "The code has changed")

    def test_channels_that_changed_with_a_restart_get_their_cards(self):
        self.join("p0p0p0p0")
        self.desk.roles["p0p0p0p0"] = ("Fly Floor", [channel("Grid"), channel("Main")])
        self.desk.forget_sessions()
        self.browser.wait_for_text(".channel", "Grid")
        self.on_air()
        self.browser.hold(key(2))
        self.wait_for_talk([1])
        self.browser.fingers_up()
        self.nothing_latched()

    def test_leaving_tells_the_desk_and_releases_the_microphone(self):
        self.browser.before_each_page(
            self,
            """
            const get = navigator.mediaDevices.getUserMedia.bind(navigator.mediaDevices);
            navigator.mediaDevices.getUserMedia = async (wish) => (window.given = await get(wish));""",
        )
        self.join()
        session = self.desk.newest.id
        self.browser.tap("#menu-open")
        self.browser.wait_for("#menu")
        self.browser.tap("#leave")
        self.browser.wait_for_text("#roles-message", "You have left. Your microphone is off.")
        wait_until(lambda: session in self.desk.left, "the desk is told")
        self.assertEqual(self.browser.run("return given.getTracks()[0].readyState"), "ended")
        self.assertEqual(len(self.desk.joins), 1)
        self.browser.tap("#join-last")
        self.on_air()

    def test_another_role_can_be_taken_from_the_menu(self):
        self.join()
        session = self.desk.newest.id
        self.browser.tap("#menu-open")
        self.browser.wait_for("#menu")
        self.browser.tap("#change-role")
        self.browser.wait_for("#roles-step")
        wait_until(lambda: session in self.desk.left, "the desk is told")
        self.browser.tap("#roles li:nth-child(2) button")
        self.on_air()
        self.assertEqual(self.browser.text("#role-name"), "Director")

    def test_a_page_that_is_closed_says_goodbye(self):
        self.join()
        session = self.desk.newest.id
        self.open("/help")
        wait_until(lambda: session in self.desk.left, "the desk is told")


class WithoutMicrophoneTest(PageTest):
    switches = ("--deny-permission-prompts",)
    microphone = False

    @classmethod
    def grant(cls, setting):
        cls.browser.cdp(
            "Browser.setPermission", permission={"name": "microphone"}, setting=setting, origin=cls.desk.address
        )

    def test_without_a_microphone_one_listens_and_can_try_again(self):
        self.grant("denied")
        self.join()
        self.assertEqual(self.desk.joins[0]["microphone"], False)
        self.assertEqual(self.desk.newest.answer["direction"], "recvonly")
        self.browser.wait_for_text("#no-microphone-text", "You can only listen")
        self.assertEqual(self.state_of(key(1)), "no-microphone")
        self.browser.tap(key(1))
        self.assertEqual(self.state_of(key(1)), "no-microphone")
        self.desk.talkers((["Director"], False))
        self.browser.wait_for_text(".who-text", "Director")

        self.grant("granted")
        self.browser.tap("#microphone-again")
        self.wait_for_rejoin()
        self.on_air()
        self.assertEqual(self.desk.joins[1]["microphone"], True)
        self.wait_for_state(key(1), "idle")
        self.browser.hold(key(1))
        self.wait_for_talk([0])
        self.browser.fingers_up()


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
