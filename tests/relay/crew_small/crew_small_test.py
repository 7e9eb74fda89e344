"""A few members, good and bad, on a server of any build: what the sanitizers watch from the first packet to
the last. How many the server bears, and how well they hear, is tried elsewhere.

    crew_small_test.py SERVER CREW_CLIENT
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fixtures"))
import own_network  # noqa: E402
from on_air import Crew, Server, own_addresses, show_with  # noqa: E402

CALLER, LISTENER = 0, 1
TONE = 1000

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


def whoever_leaves_may_come_back(crew):
    crew.tell(f"{LISTENER} leave")
    crew.wait_for(LISTENER, "left")
    begin = crew.mark()
    crew.tell(f"{LISTENER} join")
    crew.wait_for(LISTENER, "connected", begin=begin)
    one_talks_and_the_other_hears(crew)


def whoever_dies_is_missed(server, client):
    begin = server.lines.count()
    guest = one_guest(server, client)
    guest.wait_for(0, "connected")
    guest.tell("die")
    assert guest.process.wait() == -9
    guest.quit()
    server.wait_for_line("is gone", begin=begin, patience=120)


def rubbish_is_refused(server, client):
    guest = one_guest(server, client, answer="rubbish")
    assert guest.wait_for(0, "answer")["status"] == 400
    guest.quit()


def a_forged_certificate_gets_no_sound(server, client):
    begin = server.lines.count()
    guest = one_guest(server, client, answer="forged")
    guest.wait_for(0, "joined")
    server.wait_for_line("never got through", begin=begin)
    assert guest.count("connected") == 0
    guest.quit()


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
            ]
        ),
    )
    for member in (CALLER, LISTENER):
        crew.wait_for(member, "connected")
    one_talks_and_the_other_hears(crew)
    whoever_leaves_may_come_back(crew)
    an_announcement_is_taken(server)
    rubbish_is_refused(server, client)
    a_forged_certificate_gets_no_sound(server, client)
    whoever_dies_is_missed(server, client)
    one_talks_and_the_other_hears(crew)
    server.stop()
    crew.wait_for(CALLER, "goodbye")
    crew.quit()
    print("1 passed, 0 failed")


main()
