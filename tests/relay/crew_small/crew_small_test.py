"""A few clients, good and bad, with a server of any build, so that the sanitizers see a whole show. Load and audio
quality are tested elsewhere.

    crew_small_test.py SERVER CREW_CLIENT
"""

import http.client
import json
import os
import re
import resource
import socket
import ssl
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fixtures"))
import own_network  # noqa: E402
from on_air import Crew, Server, own_addresses, show_with  # noqa: E402

CALLER, LISTENER = 0, 1
TONE = 1000
FORGED_TONE = 2000

addresses = own_addresses()


def one_guest(server, client, **manner):
    return Crew(client, server.document([{"role": "Listener", "source": next(addresses), **manner}]))


def one_talks_and_the_other_hears(crew):
    begin = crew.mark()
    crew.tell(f"{CALLER} talk 0")
    crew.wait_for_tones(LISTENER, [TONE], begin)
    begin = crew.mark()
    crew.tell(f"{CALLER} talk none")
    crew.wait_for_tones(LISTENER, [], begin)


def a_client_that_leaves_can_come_back(crew):
    crew.tell(f"{LISTENER} leave")
    crew.wait_for(LISTENER, "left")
    begin = crew.mark()
    crew.tell(f"{LISTENER} join")
    crew.wait_for(LISTENER, "connected", begin=begin)
    one_talks_and_the_other_hears(crew)


def a_client_that_dies_is_reported_lost(server, client):
    begin = server.lines.count()
    guest = one_guest(server, client)
    guest.wait_for(0, "connected")
    guest.tell("die")
    assert guest.process.wait() == -9
    guest.quit()
    server.wait_for_line(" lost ", begin=begin, timeout=120)


def an_invalid_answer_is_rejected(server, client):
    guest = one_guest(server, client, answer="rubbish")
    assert guest.wait_for(0, "answer")["status"] == 400
    guest.quit()


def a_forged_certificate_is_neither_heard_nor_hears(server, client, crew):
    begin = server.lines.count()
    heard_from = crew.mark()
    guest = one_guest(server, client, answer="forged", role="Caller", sound={"tone": FORGED_TONE}, talk=[0])
    server.wait_for_line("its certificate", begin=begin)
    one_talks_and_the_other_hears(crew)  # by then everything heard before has been reported
    heard = [said["tones"] for said in crew.events.all(heard_from) if said["event"] == "hears"]
    assert not any(FORGED_TONE in tones for tones in heard), heard
    assert guest.count("connected") == 0
    guest.quit()


def ask(server, path, source="127.0.0.1", **body):
    """Sends a request as a page at `source` does; returns the status and the JSON of the response."""
    unverified = ssl._create_unverified_context()  # pylint: disable=protected-access
    desk = http.client.HTTPSConnection(
        server.host, server.port, timeout=30, source_address=(source, 0), context=unverified
    )
    try:
        desk.request("POST", path, json.dumps(body), {"Content-Type": "application/json"})
        response = desk.getresponse()
        return response.status, json.loads(response.read() or "null")
    finally:
        desk.close()


def the_card_needs_the_code(server):
    status, card = ask(server, "/api/card", code=server.code)
    assert status == 200 and card["show"] == "Hamlet" and len(card["roles"]) == 2, card
    begin = server.lines.count()
    other = f"{(int(server.code) + 1) % 1000000:06}"
    assert ask(server, "/api/card", code=other) == (403, {"error": "wrong-code"})
    server.wait_for_line("wrong crew code", begin=begin)


def scanned(server):
    """What a phone has from the cards: the key of the door's card, and key and role of each role's card."""
    card = ask(server, "/api/card", code=server.code)[1]
    form = re.compile(re.escape(card["address"]) + r"#key=([\w-]{22})(?:&role=(\w{8}))?")
    return [form.fullmatch(url).groups() for url in [card["page"]["url"], *(role["url"] for role in card["roles"])]]


def a_scanned_card_needs_no_code(server):
    (door, _), (key, role), (other_key, other_role) = scanned(server)
    assert len({door, key, other_key}) == 3
    for credential in ({"key": door}, {"key": key, "role": role}, {"key": key, "cardRole": role}):
        assert ask(server, "/api/card", **credential)[0] == 200
        status, offered = ask(server, "/api/roles", **credential)
        assert status == 200 and {role, other_role} == {one["key"] for one in offered["roles"]}, offered
    for credential in ({"key": door}, {"key": key, "cardRole": role}, {"key": other_key}):
        status, joined = ask(server, "/api/join", role=other_role, microphone=False, **credential)
        assert status == 200, joined
        ask_to_leave(server, joined["session"])
    begin = server.lines.count()
    for credential in ({"key": key}, {"key": key, "role": other_role}, {"key": key[:-1], "role": role}):
        assert ask(server, "/api/roles", **credential) == (403, {"error": "wrong-code"})
    server.wait_for_line("the card that it scanned is not valid", begin=begin)


def ask_to_leave(server, session):
    unverified = ssl._create_unverified_context()  # pylint: disable=protected-access
    desk = http.client.HTTPSConnection(server.host, server.port, timeout=30, context=unverified)
    desk.request("POST", "/api/leave", json.dumps({"session": session}))
    assert desk.getresponse().status == 204
    desk.close()


def guessers_do_not_keep_out_who_scans(server):
    """Guesses of the code, wrong keys and idle connections from 60 addresses, and of a whole network; a phone there."""
    (door, _), (key, role), _ = scanned(server)
    wrong = f"{(int(server.code) + 1) % 1000000:06}"
    guessers = [f"127.9.9.{number + 1}" for number in range(60)]
    for source in guessers:
        while ask(server, "/api/roles", source, code=wrong)[0] != 429:
            pass
        assert ask(server, "/api/roles", source, key=wrong)[0] == 403
    resource.setrlimit(resource.RLIMIT_NOFILE, [resource.getrlimit(resource.RLIMIT_NOFILE)[1]] * 2)
    idle = []
    for _ in range(20):
        idle += [socket.create_connection((server.host, server.port), 30, (source, 0)) for source in guessers]
    # What is left for the first guesses of others is used up, too: then a newcomer's digits have to wait.
    newcomers = (f"127.9.9.{number}" for number in range(100, 250))
    newcomer = next(source for source in newcomers if ask(server, "/api/roles", source, code=wrong)[0] == 429)
    for source in (newcomer, guessers[0], "127.8.8.8"):
        for credential in ({"key": door, "role": role}, {"key": key, "role": role}):
            status, joined = ask(server, "/api/join", source, microphone=False, **credential)
            assert status == 200, (source, joined)
            ask_to_leave(server, joined["session"])
    for connection in idle:
        connection.close()


def unknown_roles_and_sessions_are_rejected(server):
    unknown = "0" * 32
    assert ask(server, "/api/join", code=server.code, role="unknown", microphone=False)[1] == {"error": "no-such-role"}
    answer = {"iceUfrag": "abcd", "icePwd": "p" * 22, "fingerprint": "AB:" * 31 + "AB", "setup": "active", "sources": []}
    assert ask(server, "/api/answer", session=unknown, **answer)[1] == {"error": "missing"}
    assert ask(server, "/api/answer", session=unknown, direction="both", **answer)[1] == {"error": "bad-answer"}
    answer["direction"] = "recvonly"
    assert ask(server, "/api/answer", session=unknown, **answer)[1] == {"error": "no-such-session"}
    assert ask(server, "/api/state", session=unknown, number=1, talk=[], levels=[])[1] == {"error": "no-such-session"}


def an_announcement_is_taken(server):
    begin = server.lines.count()
    server.say("Places, please")
    server.wait_for_line("Places, please", begin=begin)


class DesksPage:
    """The desk's own page, by its requests and its events."""

    def __init__(self, server):
        self.server = server
        key = server.desk_page().rpartition("#key=")[2]
        status, opened = ask(server, "/api/desk/open", key=key)
        assert status == 200, opened
        self.session = opened.pop("session")
        self.opened = opened
        self._stream = http.client.HTTPSConnection(
            server.host, server.port, timeout=30, context=ssl._create_unverified_context()  # pylint: disable=protected-access
        )
        self._stream.request("GET", f"/api/desk/events?session={self.session}")
        self._events = self._stream.getresponse()

    def wait_for(self, fits):
        """The next overview of the crew for which `fits` is true."""
        while True:
            line = self._events.readline().decode()
            assert line, "the stream of events ended"
            if line.startswith("data: ") and "crew" in line:
                crew = json.loads(line.removeprefix("data: "))["crew"]
                if fits(crew):
                    return crew

    def ask(self, what, **more):
        return ask(self.server, f"/api/desk/{what}", session=self.session, **more)

    def close(self):
        self._stream.close()


def open_channels(crew, role):
    return [key["channel"] for member in crew["members"] if member["role"] == role for key in member["open"]]


def the_desks_page_needs_its_key(server):
    card = ask(server, "/api/card", code=server.code)[1]
    begin = server.lines.count()
    for key in ("", card["page"]["url"].rpartition("#key=")[2], server.code):
        assert ask(server, "/api/desk/open", key=key) == (403, {"error": "wrong-key"})
    server.wait_for_line("no valid key of the desk's page", begin=begin)
    for what, more in (("close-keys", {}), ("speak", {"channels": [0], "text": "Hi"}), ("silence", {})):
        assert ask(server, f"/api/desk/{what}", session="0" * 32, **more) == (404, {"error": "no-such-session"})


def the_desk_closes_a_key_that_is_open(server, crew):
    page = DesksPage(server)
    assert page.opened == {"show": "Hamlet", "channels": ["Main"], "roles": ["Caller", "Listener"]}, page.opened
    begin = crew.mark()
    crew.tell(f"{CALLER} talk 0")
    crew.wait_for_tones(LISTENER, [TONE], begin)
    shown = page.wait_for(lambda crew: open_channels(crew, CALLER) == [0])
    caller = next(member for member in shown["members"] if member["role"] == CALLER)
    assert caller["connected"] and caller["microphone"], caller
    begin, said = crew.mark(), server.lines.count()
    assert page.ask("close-keys", member=caller["id"]) == (200, {"count": 1})
    crew.wait_for_tones(LISTENER, [], begin)
    page.wait_for(lambda crew: open_channels(crew, CALLER) == [])
    server.wait_for_line("closed the talk keys of", "Caller", begin=said)
    assert page.ask("close-keys") == (200, {"count": 0})
    page.close()


def the_desk_announces_and_silences(server):
    page = DesksPage(server)
    begin = server.lines.count()
    assert page.ask("speak", channels=[0], text="  Beginners, please ") == (204, None)
    server.wait_for_line("announces", "Beginners, please", "Main", begin=begin)
    page.wait_for(lambda crew: crew["channels"][0]["announcing"])
    status, silenced = page.ask("silence")
    assert status == 200 and silenced["count"] > 0, silenced  # and what other senders announced before
    page.wait_for(lambda crew: not crew["channels"][0]["announcing"])
    assert page.ask("speak", channels=[0], text=" ") == (400, {"error": "blank-text"})
    assert page.ask("speak", channels=[1], text="Hi") == (400, {"error": "no-channel"})
    assert page.ask("speak", channels=[0], text="a" * 501) == (400, {"error": "too-long"})
    page.close()


def a_light_is_shown_acknowledged_and_answered_over_osc(server):
    page = DesksPage(server)
    status, joined = ask(server, "/api/join", code=server.code, role=role_of(server, "Listener"), microphone=False)
    assert status == 200, joined
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as player:
        player.bind(("127.0.0.1", 0))
        player.settimeout(30)
        begin = server.lines.count()
        server.send_osc("/wingbell/reply", "i", player.getsockname()[1])
        server.send_osc("/wingbell/standby/Main", "s", "LX 12")
        server.wait_for_line("Standby on", "Main", "LX 12", "127.0.0.1", begin=begin)
        shown = page.wait_for(lambda crew: crew["channels"][0]["light"])["channels"][0]["light"]
        assert (shown["kind"], shown["text"], shown["answered"]) == ("standby", "LX 12", []), shown
        assert ask(server, "/api/acknowledge", session=joined["session"], channel=0, call=False) == (204, None)
        assert player.recv(500) == b"/wingbell/acknowledged/Main\0,sss\0\0\0\0Listener\0\0\0\0standby\0LX 12\0\0\0"
    page.wait_for(lambda crew: crew["channels"][0]["light"]["answered"] == ["Listener"])
    assert page.ask("go", channels=[0]) == (204, None)
    page.wait_for(lambda crew: crew["channels"][0]["light"]["kind"] == "go")
    server.send_osc("/wingbell/clear")
    page.wait_for(lambda crew: crew["channels"][0]["light"] is None)
    assert page.ask("call", channels=[]) == (400, {"error": "no-channel"})
    ask_to_leave(server, joined["session"])
    page.close()


def calls_of_one_page_are_limited(server):
    page = DesksPage(server)
    status, joined = ask(server, "/api/join", code=server.code, role=role_of(server, "Listener"), microphone=False)
    assert status == 200, joined
    session = joined["session"]
    for _ in range(3):
        assert ask(server, "/api/call", session=session, channel=0, on=True) == (204, None)
        called = page.wait_for(lambda crew: crew["channels"][0]["call"])["channels"][0]["call"]
        assert called["from"] == "Listener", called
        assert ask(server, "/api/call", session=session, channel=0, on=False) == (204, None)
        page.wait_for(lambda crew: crew["channels"][0]["call"] is None)
    status, refused = ask(server, "/api/call", session=session, channel=0, on=True)
    assert status == 429 and refused["error"] == "slow-down" and 0 < refused["seconds"] <= 10, refused
    ask_to_leave(server, session)
    page.close()


def role_of(server, name):
    roles = ask(server, "/api/roles", code=server.code)[1]["roles"]
    return next(role["key"] for role in roles if role["name"] == name)


def pages_beyond_the_limit_replace_those_that_are_gone(server):
    pages = [DesksPage(server)]
    pages[0].wait_for(bool)
    for _ in range(7):
        page = DesksPage(server)
        page.wait_for(bool)
        page.close()
    newest = DesksPage(server)
    newest.wait_for(bool)
    assert pages[0].ask("silence")[0] == 200, "it is still there"
    for page in (pages[0], newest):
        page.close()


def main():
    own_network.enter()
    program, client = sys.argv[1:3]
    server = Server(program, show_with(["Main"], {"Caller": (["Main"], ["Main"]), "Listener": ([], ["Main"])}))
    crew = Crew(
        client,
        server.document(
            [
                {"role": "Caller", "source": next(addresses), "sound": {"tone": TONE}},
                {"role": "Listener", "source": next(addresses)},
            ],
            tones=[FORGED_TONE],
        ),
    )
    for member in (CALLER, LISTENER):
        crew.wait_for(member, "connected")
    one_talks_and_the_other_hears(crew)
    a_client_that_leaves_can_come_back(crew)
    an_announcement_is_taken(server)
    the_desks_page_needs_its_key(server)
    the_desk_announces_and_silences(server)
    a_light_is_shown_acknowledged_and_answered_over_osc(server)
    calls_of_one_page_are_limited(server)
    pages_beyond_the_limit_replace_those_that_are_gone(server)
    the_card_needs_the_code(server)
    a_scanned_card_needs_no_code(server)
    unknown_roles_and_sessions_are_rejected(server)
    an_invalid_answer_is_rejected(server, client)
    a_forged_certificate_is_neither_heard_nor_hears(server, client, crew)
    a_client_that_dies_is_reported_lost(server, client)
    one_talks_and_the_other_hears(crew)
    guessers_do_not_keep_out_who_scans(server)
    one_talks_and_the_other_hears(crew)
    the_desk_closes_a_key_that_is_open(server, crew)
    server.stop()
    crew.wait_for(CALLER, "goodbye")
    crew.quit()
    print("1 passed, 0 failed")


main()
