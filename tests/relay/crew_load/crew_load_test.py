"""Clients come and go in every way, good and bad, while two others talk: these are not disturbed, and the clients
that have gone leave nothing behind.

    crew_load_test.py SERVER CREW_CLIENT
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fixtures"))
import own_network  # noqa: E402
from on_air import Crew, Server, missed_deadlines, own_addresses, show_with, wait_until  # noqa: E402

GUESTS = 8
ROUNDS = int(os.environ.get("WINGBELL_ROUNDS", "2"))
SETTLING_TIMEOUT = 120.0  # seconds; clients that vanish are only dropped after a timeout
# Fewer than one kind of guests would leave behind.
SPARE = GUESTS - 1
# A busy machine causes a gap now and then; guests that disturb would cause many.
MAX_GAP = 500  # milliseconds
MAX_GAP_SHARE = 0.02  # of the time
MAX_NOISE_MEMORY = 20  # MB; as much as 1 kB for each datagram
FLOOD = 1000
TONE = 1000
FIRST_GUEST_TONE = 2000

addresses = own_addresses()


def guests(server, client, count=GUESTS, **manner):
    """Guests on a separate channel, each with its own tone."""
    members = [
        {
            "role": "Guest",
            "source": next(addresses),
            "sound": {"tone": FIRST_GUEST_TONE + 100 * number, "amplitude": 0.05},  # the sum of all does not clip
            **manner,
        }
        for number in range(count)
    ]
    return Crew(client, server.document(members))


def all_connected(crew, count=GUESTS):
    for number in range(count):
        crew.wait_for(number, "connected")


def talk_and_hear(crew, count=GUESTS):
    """Every guest talks and is heard by all others, and then by none."""
    tones = [FIRST_GUEST_TONE + 100 * number for number in range(count)]
    begin = crew.mark()
    crew.tell("* talk 0")
    for number in range(count):
        crew.wait_for_tones(number, [tone for tone in tones if tone != tones[number]], begin)
    begin = crew.mark()
    crew.tell("* talk none")
    for number in range(count):
        crew.wait_for_tones(number, [], begin)


def clients_that_leave(server, client):
    crew = guests(server, client)
    all_connected(crew)
    talk_and_hear(crew)
    crew.tell("* leave")
    for number in range(GUESTS):
        crew.wait_for(number, "left")
    crew.quit()


def clients_that_rejoin_at_once(server, client):
    crew = guests(server, client)
    all_connected(crew)
    begin = crew.mark()
    crew.tell("* join")  # replaces their sessions
    for number in range(GUESTS):
        crew.wait_for(number, "connected", begin=begin)
    talk_and_hear(crew)
    crew.tell("* leave")
    for number in range(GUESTS):
        crew.wait_for(number, "left")
    crew.quit()


def clients_that_die(server, client):
    crew = guests(server, client)
    all_connected(crew)
    crew.tell("* talk 0")
    crew.tell("die")
    assert crew.process.wait() == -9
    crew.quit()


def clients_that_stall(server, client):
    crew = guests(server, client, talk=[0])
    all_connected(crew)
    begin = server.lines.count()
    crew.tell("* stall")
    server.wait_for_line(" lost ", begin=begin, timeout=SETTLING_TIMEOUT)
    crew.tell("* resume")
    crew.quit()


def clients_that_never_answer(server, client):
    crew = guests(server, client, answer="never")
    for number in range(GUESTS):
        crew.wait_for(number, "joined")
    crew.quit()


def clients_that_send_an_invalid_answer(server, client):
    crew = guests(server, client, answer="rubbish")
    for number in range(GUESTS):
        answer = crew.wait_for(number, "answer")
        assert answer["status"] == 400, answer
    crew.quit()


def clients_with_a_forged_certificate(server, client):
    """A man in the middle has another certificate than the one in the answer."""
    begin = server.lines.count()
    crew = guests(server, client, count=2, answer="forged")
    for number in range(2):
        crew.wait_for(number, "joined")
    server.wait_for_line("its certificate", begin=begin)
    assert crew.count("connected") == 0
    crew.quit()


def clients_that_flood(server, client):
    crew = guests(server, client, count=2)
    all_connected(crew, 2)
    crew.tell(f"0 flood {FLOOD}")
    flooded = crew.wait_for(0, "flooded", timeout=SETTLING_TIMEOUT)
    assert sum(flooded["answers"].values()) == FLOOD, flooded
    crew.tell("1 talk 0")  # the other one is still served
    crew.wait_for(1, "desk")
    crew.quit()


def clients_that_send_noise(server, client):
    crew = guests(server, client)
    all_connected(crew)
    talk_and_hear(crew)
    before = server.resident_megabytes()
    crew.tell("* pelt 2000")
    for number in range(GUESTS):
        crew.wait_for(number, "pelted")
    talk_and_hear(crew)  # the noise has been processed by then
    grown = server.resident_megabytes() - before
    assert grown < MAX_NOISE_MEMORY, f"the noise takes {grown:.0f} MB"
    crew.quit()


def clients_that_guess_the_code(server, client):
    members = [{"role": "Guest", "source": next(addresses), "code": f"{number:06}"} for number in range(GUESTS)]
    crew = Crew(client, server.document(members))
    for number in range(GUESTS):
        refused = crew.wait_for(number, "refused")
        assert refused["error"] in ("wrong-code", "slow-down"), refused
    crew.quit()


KINDS = [
    clients_that_leave,
    clients_that_rejoin_at_once,
    clients_that_die,
    clients_that_stall,
    clients_that_never_answer,
    clients_that_send_an_invalid_answer,
    clients_with_a_forged_certificate,
    clients_that_flood,
    clients_that_send_noise,
    clients_that_guess_the_code,
]


def main():
    own_network.enter()
    program, client = sys.argv[1:3]
    server = Server(
        program,
        show_with(
            ["Main", "Other"],
            {"Caller": (["Main"], ["Main"]), "Listener": ([], ["Main"]), "Guest": (["Other"], ["Other"])},
        ),
    )
    steady = Crew(
        client,
        server.document(
            [{"role": "Caller", "sound": {"tone": TONE}, "talk": [0]}, {"role": "Listener", "watch": TONE}]
        ),
    )
    steady.wait_for_tones(1, [TONE])
    steady.tell(f"1 watch {TONE}")
    before = server.descriptors(), server.threads(), server.resident_megabytes()
    print(f"with 2 members: {before[0]} descriptors, {before[1]} threads, {before[2]:.1f} MB")

    heard_in_all, gaps = 0, 0
    for number in range(ROUNDS):
        for kind in KINDS:
            kind(server, client)
            heard = steady.report(1)
            assert server.process.poll() is None, "the server has ended"
            assert steady.count("ended") == 0 and steady.count("goodbye") == 0, "the two who talk were disconnected"
            assert heard["watchedSeconds"] > 0 and heard["packets"] > 0, heard
            assert heard["longestGapMs"] <= MAX_GAP, f"{kind.__name__}: {heard}"
            heard_in_all += 1000 * heard["watchedSeconds"]
            gaps += heard["allGapsMs"]
            print(
                f"round {number + 1}, {kind.__name__}: the two who talk heard {heard['watchedSeconds']:.1f} s, "
                f"{heard['gaps']} gaps, at most {heard['longestGapMs']:.0f} ms; {server.resident_megabytes():.1f} MB",
                flush=True,
            )

    def settled():
        return server.descriptors() <= before[0] + SPARE and server.threads() <= before[1] + SPARE

    assert gaps <= MAX_GAP_SHARE * heard_in_all, f"{gaps} ms of {heard_in_all}"
    wait_until(
        settled,
        lambda: f"{before[0]} descriptors and {before[1]} threads again; "
        f"there are {server.descriptors()} and {server.threads()}",
        SETTLING_TIMEOUT,
    )
    print(f"after: {server.descriptors()} descriptors, {server.threads()} threads, {server.resident_megabytes():.1f} MB")
    begin = steady.mark()
    steady.tell("0 talk none")
    steady.wait_for_tones(1, [], begin)
    said = server.stop()
    missed, cycles = missed_deadlines(said)
    print(f"missed deadlines: {missed}" + (f" in {cycles} cycles" if cycles else ""))
    steady.wait_for(0, "goodbye")
    steady.quit()
    print("1 passed, 0 failed")


main()
