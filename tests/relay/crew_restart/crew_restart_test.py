"""A crew of 32 whose server is taken over, stopped and started, or killed and started: everybody is back by themselves
and hears the talker again. Prints how long that takes; on a slow machine it takes longer.

    crew_restart_test.py SERVER CREW_CLIENT
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fixtures"))
import own_network  # noqa: E402
import restarts  # noqa: E402
from on_air import Server, show_with  # noqa: E402

MEMBERS = 32


def main():
    own_network.enter()
    program, client = sys.argv[1:3]
    server = Server(program, show_with(["Main"], {"Caller": (["Main"], ["Main"])}))
    code = server.code
    crew = restarts.join(server, client, MEMBERS)
    for name, way in restarts.WAYS.items():
        begin = crew.mark()
        seconds = restarts.seconds_until_all_hear(server, crew, MEMBERS, way)
        joins = crew.count("joined", begin)
        print(f"{name}: all {MEMBERS} hear again after {seconds:.2f} s; {joins} joins", flush=True)
        assert joins < 2 * MEMBERS, "they join again and again"
        assert server.code == code
    assert crew.count("refused") == 0
    server.stop()
    crew.quit()
    print("1 passed, 0 failed")


main()
