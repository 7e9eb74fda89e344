"""The installed window through an evening: at rest, on air, and in a flood of a gigabyte.

Run by bench/run in a private root. Prints tables; asserts nothing.
"""

import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, "/tests/desktop")

import desk  # noqa: E402
from desk import wait_until  # noqa: E402
from gi.repository import Atspi  # noqa: E402
from process_cost import resident, status_of, switches, wake_ups  # noqa: E402

SECONDS_AT_REST = float(os.environ.get("WINGBELL_REST", "60"))
SETTLING = 35.0  # seconds; the toolkit's helping threads go when they had nothing to do for 30
FLOOD_BYTES = int(os.environ.get("WINGBELL_FLOOD", "1000000000"))
LINE = "All quiet on stage left, and the prompt corner hears every word of it."
FRAME = re.compile(r"Frame rendered with '\w+' renderloop in (\d+)ms")
# Writes the flood as fast as it is taken, leaves word of how long that took and waits to be ended.
FLOODING = f"""#!/bin/sh
trap 'exit 0' TERM
echo ready
until [ -e /tmp/flood ]; do sleep 0.05; done
begin=$(date +%s%N)
yes '{LINE}' | head -c {FLOOD_BYTES}
echo $(( ($(date +%s%N) - begin) / 1000000 )) >/tmp/flooded.new
mv /tmp/flooded.new /tmp/flooded
while :; do sleep 0.05; done
"""
SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": "Stage Manager", "talk": ["Main"], "listen": ["Main"]}],
    "oscPort": 47123,
}


class Window(desk.Desk):
    """The window, its own words in a file: a flood of them must not fill a pipe."""

    def __init__(self, program, **environment):
        self.words = tempfile.NamedTemporaryFile()
        self.process = subprocess.Popen(
            [program], stdout=self.words, stderr=subprocess.STDOUT, env={**os.environ, **environment}
        )
        self.application = wait_until(self._find_application, "the window on the accessibility bus")
        wait_until(lambda: self.find(name="Save Show"), "the panels")

    def frames(self):
        """Milliseconds of every frame until now."""
        with open(self.words.name, encoding="utf-8", errors="replace") as words:
            return [int(match[1]) for match in map(FRAME.search, words) if match]

    def end(self):
        for server in desk.children_of(self.process.pid):
            os.kill(server, 15)
            wait_until(lambda pid=server: not desk.alive(pid), "the server to end")
        self.process.kill()
        self.process.wait()


def wake_ups_at_rest(*pids):
    """Context switches of each process over the time at rest. Nobody may be asked anything meanwhile."""
    time.sleep(SETTLING)
    begin = [switches(pid) for pid in pids]
    time.sleep(SECONDS_AT_REST)
    return [wake_ups(before, switches(pid)) for pid, before in zip(pids, begin)]


def at_rest():
    window = Window(desk.PROGRAM)
    (stopped,) = wake_ups_at_rest(window.process.pid)
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    (server,) = desk.children_of(window.process.pid)
    on_air, of_server = wake_ups_at_rest(window.process.pid, server)
    window.end()
    print(f"\nwake-ups in {SECONDS_AT_REST:.0f} s at rest")
    print(f"{'window, stopped':34}{stopped:6}")
    print(f"{'window, on air, nobody speaks':34}{on_air:6}")
    print(f"{'server, on air, nobody there':34}{of_server:6}")


def answer_time(node):
    """Milliseconds until the window has told where that button is."""
    begin = time.monotonic()
    Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    return 1000 * (time.monotonic() - begin)


def through_cat():
    begin = time.monotonic()
    flood = subprocess.Popen(f"yes '{LINE}' | head -c {FLOOD_BYTES}", shell=True, stdout=subprocess.PIPE)
    subprocess.run(["cat"], stdin=flood.stdout, stdout=subprocess.DEVNULL, check=True)
    flood.wait()
    return time.monotonic() - begin


def flood():
    window = Window(desk.program_with_server("flooding", FLOODING), QT_LOGGING_RULES="qt.scenegraph.time.renderloop=true")
    button = wait_until(lambda: window.find(name="Add Role"), "a button")
    calm = [answer_time(button) for _ in range(200)]
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    before = resident(window.process.pid)
    frames_before = len(window.frames())
    open("/tmp/flood", "w", encoding="ascii").close()
    answers = []

    def over():
        answers.append(answer_time(button))
        return os.path.exists("/tmp/flooded")

    wait_until(over, "the end of the flood", timeout=300)
    with open("/tmp/flooded", encoding="ascii") as flooded:
        seconds = int(flooded.read()) / 1000
    after = resident(window.process.pid)
    peak = status_of(window.process.pid, "VmHWM") / 1024
    frames = window.frames()[frames_before:]
    window.end()
    plain = through_cat()
    megabytes = FLOOD_BYTES / 1e6
    print(f"\nflood of {megabytes:.0f} MB in lines of {len(LINE) + 1} bytes")
    print(f"{'':34}{'MB/s':>8}{'ratio':>7}")
    print(f"{'through the window':34}{megabytes / seconds:8.0f}{plain / seconds:7.2f}")
    print(f"{'through cat':34}{megabytes / plain:8.0f}{1:7.2f}")
    print(f"{'':34}{'median':>8}{'worst':>7}{'count':>8}")
    for name, values in (
        ("answer before, ms", calm),
        ("answer in the flood, ms", answers),
        ("frame in the flood, ms", frames),
    ):
        print(f"{name:34}{statistics.median(values):8.1f}{max(values):7.1f}{len(values):8}")
    print(f"{'frames above 33 ms':34}{sum(frame > 33 for frame in frames):8}")
    print(f"{'resident before, after, peak, MB':34}{before:8.1f}{after:7.1f}{peak:8.1f}")


desk.real_folder_is_private()
desk.write_show(SHOW)
at_rest()
flood()
