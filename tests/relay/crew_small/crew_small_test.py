"""A few clients, good and bad, with a server of any build, so that the sanitizers see a whole show. Load and audio
quality are tested elsewhere.

    crew_small_test.py SERVER CREW_CLIENT
"""

import json
import os
import ssl
import sys
import urllib.error
import urllib.request

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


def ask(server, path, **body):
    """Sends a request as a page does; returns the status and the JSON of the response."""
    request = urllib.request.Request(
        server.url + path, json.dumps(body).encode(), {"Content-Type": "application/json"}, method="POST"
    )
    unverified = ssl._create_unverified_context()  # pylint: disable=protected-access
    try:
        with urllib.request.urlopen(request, context=unverified, timeout=30) as response:
            return response.status, json.load(response)
    except urllib.error.HTTPError as error:
        return error.code, json.load(error)


def the_card_needs_the_code(server):
    status, card = ask(server, "/api/card", code=server.code)
    assert status == 200 and card["show"] == "Hamlet" and len(card["roles"]) == 2, card
    begin = server.lines.count()
    other = f"{(int(server.code) + 1) % 1000000:06}"
    assert ask(server, "/api/card", code=other) == (403, {"error": "wrong-code"})
    server.wait_for_line("wrong crew code", begin=begin)


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
    the_card_needs_the_code(server)
    unknown_roles_and_sessions_are_rejected(server)
    an_invalid_answer_is_rejected(server, client)
    a_forged_certificate_is_neither_heard_nor_hears(server, client, crew)
    a_client_that_dies_is_reported_lost(server, client)
    one_talks_and_the_other_hears(crew)
    server.stop()
    crew.wait_for(CALLER, "goodbye")
    crew.quit()
    print("1 passed, 0 failed")


main()
