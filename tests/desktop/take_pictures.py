"""Takes the guide's pictures of the window into /output."""

import os
import subprocess

import desk
from desk import Atspi, Desk, wait_until
from own_bus import OwnBus

CODE = "482913"  # the same in every picture of the guide
EVERYTHING = ["Main", "Tech", "Backstage", "Green Room"]
SHOW = {
    "show": "Fall Recital",
    "channels": EVERYTHING,
    "roles": [
        {"name": "Stage Manager", "talk": EVERYTHING, "listen": EVERYTHING},
        {"name": "Lighting", "talk": ["Main", "Tech"], "listen": ["Main", "Tech"]},
        {"name": "Backstage Crew", "talk": ["Main", "Backstage"], "listen": ["Main", "Backstage"]},
    ],
    "oscPort": 47000,
}
USUAL_SIZE = (820, 760)
WHOLE_SIZE = (820, 1230)  # in which everything can be seen without scrolling
DESK_STRIP = "820x336+0+0"  # the header, the switch and the console
AROUND = 8  # pixels around what is cut out


def keep_code(code):
    """Writes the crew code as an earlier show would have."""
    folder = os.path.expanduser("~/.local/state/wingbell")
    os.makedirs(folder, mode=0o700)
    with open(os.open(f"{folder}/crew-code", os.O_WRONLY | os.O_CREAT, 0o600), "w", encoding="ascii") as file:
        file.write(code + "\n")


def settled(window):
    """The window's picture once it no longer changes."""

    def shot():
        return subprocess.run(
            ["import", "-window", window.window, "-strip", "png:-"], capture_output=True, check=True
        ).stdout

    shots = [shot()]

    def still():
        shots.append(shot())
        return shots[-1] == shots[-2]

    wait_until(still, "the window to stop changing")
    return shots[-1]


def picture(window, name, *changes):
    """Writes the window's picture, after ImageMagick's `changes` to it."""
    # A palette suits what has few colours, and makes a third of the size.
    small = ["+dither", "-colors", "256", "-define", "png:compression-level=9", f"/output/{name}"]
    subprocess.run(["convert", "png:-", *changes, *small], input=settled(window), check=True)


def extents(window, node):
    """Its position in the window: left, top, width, height."""
    geometry = desk.output_of("xdotool", "getwindowgeometry", "--shell", window.window)
    place = dict(line.split("=") for line in geometry.splitlines())
    # The sizes that the toolkit tells in the window's own coordinates are wrong.
    box = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    return box.x - int(place["X"]), box.y - int(place["Y"]), box.width, box.height


def cut_out(window, name, node):
    left, top, width, height = extents(window, node)
    place = f"{width + 2 * AROUND}x{height + 2 * AROUND}+{max(0, left - AROUND)}+{max(0, top - AROUND)}"
    picture(window, name, "-crop", place, "+repage")


def number(window, digit, node, right=False):
    """Draws a number beside what it stands for, on the left or on the right."""
    left, top, width, height = extents(window, node)
    x, y = (left + width + 16 if right else left - 8), top + height // 2
    draw = ["-fill", "#deb35c", "-stroke", "#0f0909", "-strokewidth", "1", "-draw", f"circle {x},{y} {x + 11},{y}"]
    words = ["-stroke", "none", "-fill", "#0f0909", "-pointsize", "16", "-font", "DejaVu-Sans-Bold"]
    return [*draw, *words, "-draw", f"text {x - 5},{y + 6} '{digit}'"]


def resize(window, size):
    desk.xdotool("windowsize", "--sync", window.window, *size)


def take_without_show():
    silent = Desk(desk.program_with_silent_server())
    silent.wait_for_input()
    picture(silent, "stopped.png")
    silent.press("Intercom server")
    wait_until(lambda: silent.has("STARTING"), "the lamp to say STARTING")
    silent.see_line("▶︎ Starting server with ")
    picture(silent, "starting.png", "-crop", DESK_STRIP, "+repage")
    desk.end_servers(silent)
    silent.close()


def take_whole(show):
    """Everything at once, with numbers that the guide's words name."""
    resize(show, WHOLE_SIZE)
    save = show.find("Save Show")
    wait_until(lambda: extents(show, save)[1] + extents(show, save)[3] < WHOLE_SIZE[1], "everything to be seen")
    card = show.find("Stage Manager")
    numbers = [
        *number(show, 1, show.find("Show name")),
        *number(show, 2, show.find("Green Room"), right=True),
        *number(show, 3, show.find("Add Role"), right=True),
        *number(show, 4, show.find("TALKS ON", within=card)),
        *number(show, 5, save),
        *number(show, 6, show.find("Intercom server")),
        *number(show, 7, show.find("Console")),
    ]
    picture(show, "numbered.png", *numbers)
    cut_out(show, "card.png", show.find("Lighting"))
    resize(show, USUAL_SIZE)


def take_on_air(show):
    show.press("Intercom server")
    wait_until(lambda: show.has("ON AIR"), "the lamp to say ON AIR")
    show.see_line("Printable join card")
    cut_out(show, "console.png", show.find("Console"))
    for address, text in (
        ("/wingbell/say", "Half an hour, please"),
        ("/wingbell/say/Green%20Room", "Beginners to the stage"),
        ("/wingbell/say/Tech", "Stand by, cue one"),
    ):
        desk.send_osc(47000, address, text)
        show.see_line(text)
    picture(show, "window.png")


def take_warning(show):
    show.press("Backstage", within=show.find("TALKS ON", within=show.find("Lighting")))
    wait_until(lambda: show.find(role=Atspi.Role.ALERT), "the warning")
    picture(show, "warning.png")


def grant_real_time_priority():
    """As on a computer with RealtimeKit, which has nothing to say about the audio's priority."""
    bus = OwnBus()
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = bus.address
    kit = subprocess.Popen(
        ["/usr/bin/python3", "/tests/fixtures/bus_service.py", "--bus", bus.address, "realtime-kit"],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
    )  # fmt: skip
    assert kit.stdout.readline() == "ready\n"
    return bus, kit


desk.real_folder_is_private()
os.umask(0o022)
system_bus, real_time_kit = grant_real_time_priority()
take_without_show()
keep_code(CODE)
desk.write_show(SHOW)
window = Desk()
window.wait_for_input()
take_whole(window)
take_on_air(window)
take_warning(window)
desk.end_servers(window)
window.see_line("■ Server stopped.")
window.close()
real_time_kit.kill()
real_time_kit.communicate()
system_bus.close()
