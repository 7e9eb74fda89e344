"""Start to painted window, resident memory and wake-ups at rest, beside other windows in the same run.

Run by bench/run. Prints a table; asserts nothing.
"""

import os
import statistics
import subprocess
import sys
import time

from process_cost import resident, switches, wake_ups
from Xlib import X, display

SECONDS_AT_REST = float(os.environ.get("WINGBELL_REST", "10"))
ROUNDS = int(os.environ.get("WINGBELL_ROUNDS", "5"))


def painted(screen, root, before):
    """Whether anything but the empty screen shows on a cross through its middle."""
    width, height = screen.width_in_pixels, screen.height_in_pixels
    row = root.get_image(0, height // 2, width, 1, X.ZPixmap, 0xFFFFFF).data
    return row != before


def measure(command, seconds_at_rest):
    connection = display.Display()
    screen = connection.screen()
    root = screen.root
    before = root.get_image(0, screen.height_in_pixels // 2, screen.width_in_pixels, 1, X.ZPixmap, 0xFFFFFF).data
    started = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    while not painted(screen, root, before):
        if process.poll() is not None or time.monotonic() - started > 20:
            process.kill()
            raise SystemExit(f"{command[0]} showed no window")
    milliseconds = 1000 * (time.monotonic() - started)
    time.sleep(1)  # what is loaded late counts as well
    megabytes = resident(process.pid)
    wakes = wake_ups_a_minute(process.pid, seconds_at_rest)
    process.kill()
    process.wait()
    while painted(screen, root, before):
        time.sleep(0.01)
    connection.close()
    return milliseconds, megabytes, wakes


def wake_ups_a_minute(pid, seconds):
    """Context switches a minute."""
    begin = switches(pid)
    time.sleep(seconds)
    return wake_ups(begin, switches(pid)) * 60 / seconds


def main():
    commands = dict(argument.split("=", 1) for argument in sys.argv[1:])
    rows = {name: [] for name in commands}
    for _ in range(ROUNDS):
        for name, command in commands.items():
            rows[name].append(measure(command.split(), 0.5)[:2])
    reference = next(iter(rows))
    wakes = {name: measure(command.split(), SECONDS_AT_REST)[2] for name, command in commands.items()}
    medians = {name: [statistics.median(column) for column in zip(*values)] for name, values in rows.items()}
    print(f"{ROUNDS} rounds in turn, medians; ratios are {reference} to the other")
    print(f"{'':22}{'painted ms':>12}{'ratio':>7}{'resident MB':>13}{'ratio':>7}{'wake-ups/min':>14}")
    for name, (milliseconds, megabytes) in medians.items():
        print(
            f"{name:22}{milliseconds:12.0f}{medians[reference][0] / milliseconds:7.2f}"
            f"{megabytes:13.1f}{medians[reference][1] / megabytes:7.2f}{wakes[name]:14.0f}"
        )


main()
