"""On a Wayland desktop the window opens, is worked and is seen as on any other."""

import glob
import os
import struct
import subprocess
import zlib

import desk
from desk import keys, output_of, saved_show, type_text, wait_until, xdotool
from gi.repository import Atspi

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": "Stage Manager", "talk": [], "listen": ["Main"]}],
    "oscPort": 47123,
}
GOLD = (222, 178, 92)
STAGE = (15, 9, 9)


def frame_size(window):
    frame = window.find(role=Atspi.Role.FRAME)
    place = Atspi.Component.get_extents(frame, Atspi.CoordType.SCREEN)
    return place.width, place.height


def the_screen():
    """The compositor's window on the X server: its identifier, left and top."""
    identifier = wait_until(lambda: output_of("xdotool", "search", "--onlyvisible", "--class", "weston"), "its window")
    words = output_of("xwininfo", "-id", identifier).splitlines()
    left, top = (
        next(int(line.split(":")[1]) for line in words if label in line)
        for label in ("Absolute upper-left X", "Absolute upper-left Y")
    )
    return identifier, left, top


def pixels_of(path):
    """The rows of a PNG of 8 bits a channel, each a list of (red, green, blue)."""
    with open(path, "rb") as file:
        data = file.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "this is no PNG"
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at : at + 8])
        body = data[at + 8 : at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colours = struct.unpack(">IIBB", body[:10])
        elif kind == b"IDAT":
            packed += body
        at += 12 + length
    assert depth == 8 and colours in (2, 6), (depth, colours)
    size = 3 if colours == 2 else 4
    raw = zlib.decompress(packed)
    before = bytearray(width * size)
    rows = []
    for y in range(height):
        start = y * (width * size + 1)
        method, line = raw[start], bytearray(raw[start + 1 : start + 1 + width * size])
        for i, value in enumerate(line):
            left = line[i - size] if i >= size else 0
            up = before[i]
            corner = before[i - size] if i >= size else 0
            if method == 1:
                value += left
            elif method == 2:
                value += up
            elif method == 3:
                value += (left + up) // 2
            elif method == 4:
                value += min((left, up, corner), key=lambda other: abs(left + up - corner - other))
            line[i] = value & 255
        rows.append([tuple(line[i : i + 3]) for i in range(0, len(line), size)])
        before = line
    return rows


def picture():
    """What the compositor shows."""
    subprocess.run(["weston-screenshooter"], check=True, cwd="/tmp")
    (path,) = glob.glob("/tmp/wayland-screenshot-*.png")
    rows = pixels_of(path)
    os.remove(path)
    return rows


def near(pixel, colour):
    return all(abs(pixel[channel] - colour[channel]) < 6 for channel in range(3))


def to_the_whole_screen(window):
    """Maximises the window, so that its places are those of the screen; gives back the screen's corner."""
    window.press("Maximise")
    wait_until(lambda: frame_size(window) == (1200, 940), f"the whole screen; it is {frame_size(window)}")
    wait_until(lambda: window.has("Restore"), "the button to restore")
    _, left, top = the_screen()
    xdotool("mousemove", 0, 0)  # the compositor knows a pointer that has come in from outside
    return left, top


def place_in_window(node):
    place = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    return place.x + place.width // 2, place.y + place.height // 2


def it_runs_on_wayland_in_its_size(window):
    assert frame_size(window) == (820, 760), frame_size(window)
    windows = output_of("xdotool", "search", "--pid", str(window.process.pid)).split()
    assert not windows, "it has windows of the X server"


def a_show_goes_on_air_and_off_again(window):
    assert window.has("STOPPED")
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    desk.send_osc(47123, "/wingbell/say", "Places, please")
    window.see_line("Places, please")
    window.press("Intercom server")
    window.see_line("■ Server stopped.")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")


def the_keyboard_works_it(window):
    identifier, _, _ = the_screen()
    wait_until(lambda: output_of("xdotool", "getactivewindow") == identifier, "the screen to have the keyboard")
    keys("Tab")
    window.wait_for_focus("Intercom server")
    keys("Tab", "Tab", "Tab")
    window.wait_for_focus("Show name")
    keys("ctrl+a")
    type_text("Gala")
    window.see_text("Show name", "Gala")
    keys("ctrl+a", "ctrl+c", "End", "ctrl+v")
    window.see_text("Show name", "GalaGala")
    assert window.save()["show"] == "GalaGala", saved_show()


def the_mouse_works_it(window):
    left, top = to_the_whole_screen(window)
    x, y = place_in_window(window.find("Intercom server"))
    xdotool("mousemove", left + x, top + y, "click", 1)
    wait_until(lambda: window.has("ON AIR"), "the click to start the server")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")
    xdotool("mousemove", left + 200, top + 30, "click", "--repeat", 2, "--delay", 40, 1)
    wait_until(lambda: frame_size(window) == (820, 760), f"the size from before; it is {frame_size(window)}")
    wait_until(lambda: window.has("Maximise"), "the button to maximise")


def a_drag_by_the_header_leaves_it_usable(window):
    left, top = to_the_whole_screen(window)
    xdotool("mousemove", left + 200, top + 30, "mousedown", 1)
    for step in range(1, 11):
        xdotool("mousemove", left + 200 + 4 * step, top + 30 + 4 * step)
    xdotool("mouseup", 1)
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the switch to start the server")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")


def it_is_seen(window):
    to_the_whole_screen(window)

    def drawn():
        rows = picture()
        # Below the header, at the left edge, there is nothing but the stage; the switch is green.
        stage = all(near(rows[y][4], STAGE) for y in range(400, 900, 20))
        gold = sum(near(pixel, GOLD) for row in rows for pixel in row)
        return stage and gold > 1000

    wait_until(drawn, "the desk on the screen")


def the_close_button_closes_it(window):
    window.press("Close")
    assert window.process.wait(desk.PATIENCE) == 0


desk.run(
    it_runs_on_wayland_in_its_size,
    a_show_goes_on_air_and_off_again,
    the_keyboard_works_it,
    the_mouse_works_it,
    a_drag_by_the_header_leaves_it_usable,
    it_is_seen,
    the_close_button_closes_it,
    show=SHOW,
)
