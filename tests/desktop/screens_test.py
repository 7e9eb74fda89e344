"""The window can be worked by the pointer on any screen: on one that is too small for it, and on a fine one."""

import os

import desk
from desk import output_of, wait_until, xdotool
from gi.repository import Atspi

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": f"Role {number}", "talk": [], "listen": ["Main"]} for number in range(6)],
    "oscPort": 47123,
}
LEAST = (780, 680)
SCALE = float(os.environ.get("QT_SCALE_FACTOR", "1"))
SCREEN = tuple(int(number) for number in os.environ["WINGBELL_SCREEN"].split("x")[:2])


def place_of(window):
    """Left, top, width and height of the window on the screen, in pixels."""
    words = output_of("xwininfo", "-id", window.window).splitlines()
    labels = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
    return tuple(next(int(line.split(":")[1]) for line in words if line.strip().startswith(label)) for label in labels)


def extents_of(window, node):
    """Left, top, right and bottom of an accessible on the screen, in pixels."""
    frame = Atspi.Component.get_extents(window.find(role=Atspi.Role.FRAME), Atspi.CoordType.SCREEN)
    place = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    left, top = place_of(window)[:2]
    x, y = left + (place.x - frame.x) * SCALE, top + (place.y - frame.y) * SCALE
    return x, y, x + place.width * SCALE, y + place.height * SCALE


def is_on_screen(window, node):
    left, top, right, bottom = extents_of(window, node)
    return left >= 0 and top >= 0 and right <= SCREEN[0] and bottom <= SCREEN[1]


def click(window, name):
    node = wait_until(lambda: window.find(name), name)
    assert is_on_screen(window, node), f"{name} is at {extents_of(window, node)}"
    left, top, right, bottom = extents_of(window, node)
    xdotool("mousemove", int(left + right) // 2, int(top + bottom) // 2, "click", 1)


def it_has_its_least_size_and_no_more_than_there_is_room_for(window):
    window.wait_for_input()
    left, top, width, height = place_of(window)
    assert left >= 0 and top >= 0, (left, top)
    wanted = max(LEAST[1], min(760, SCREEN[1] // SCALE))
    assert (width, height) == (820 * SCALE, wanted * SCALE), (width, height)


def the_switch_is_pressed_by_the_pointer(window):
    window.wait_for_input()
    click(window, "Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the click to start the server")
    click(window, "Intercom server")
    wait_until(lambda: window.has("STOPPED"), "the click to stop it")


def the_show_is_scrolled_to_its_end_and_saved_by_the_pointer(window):
    window.wait_for_input()
    os.remove(desk.SHOW_FILE)
    # The field of the show's name stands at the top of what scrolls.
    left, top, _, bottom = extents_of(window, window.find("Show name"))
    xdotool("mousemove", int(left) + 30, min(int(top + bottom) // 2, SCREEN[1] - 10))
    _, window_top, _, height = place_of(window)
    end = min(window_top + height, SCREEN[1]) - 20 * SCALE  # the padding below the last button

    def at_the_end():
        xdotool("click", "--repeat", 5, "--delay", 5, 5)
        return abs(extents_of(window, window.find("Save Show"))[3] - end) < 3 * SCALE

    wait_until(at_the_end, f"the end of the show at {end}")
    click(window, "Save Show")
    assert wait_until(desk.saved_show, "the save")["show"] == "Recital"


def its_buttons_are_in_sight_and_work(window):
    identifier = window.wait_for_input()
    before = place_of(window)
    for name in ("Minimise", "Maximise", "Close"):
        assert is_on_screen(window, window.find(name)), f"{name} is at {extents_of(window, window.find(name))}"
    if SCREEN[0] >= LEAST[0] * SCALE and SCREEN[1] >= LEAST[1] * SCALE:
        click(window, "Maximise")
        wait_until(lambda: place_of(window) == (0, 0, *SCREEN), "the whole screen")
        click(window, "Restore")
        wait_until(lambda: place_of(window) == before, "the window as it was")
    click(window, "Close")
    assert window.process.wait(desk.PATIENCE) == 0, identifier


desk.run(
    it_has_its_least_size_and_no_more_than_there_is_room_for,
    the_switch_is_pressed_by_the_pointer,
    the_show_is_scrolled_to_its_end_and_saved_by_the_pointer,
    its_buttons_are_in_sight_and_work,
    show=SHOW,
)
