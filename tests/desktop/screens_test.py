"""The window can be worked by the pointer on any screen: on one that is too small for it, and on a fine one."""

import os

import desk
from desk import Atspi, wait_until, xdotool

if os.environ.get("QT_QPA_PLATFORM") == "wayland":
    import wayland_screen as screen
else:
    import x_screen as screen

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": f"Role {number}", "talk": [], "listen": ["Main"]} for number in range(6)],
    "oscPort": 47123,
}
ITS_CORNER_IS_IN_SIGHT = all(screen.OPENS_WITH[axis] * screen.SCALE <= screen.SIZE[axis] for axis in (0, 1))


def extents_of(window, node):
    """Left, top, right and bottom of an accessible on the screen, in pixels."""
    frame = Atspi.Component.get_extents(window.find(role=Atspi.Role.FRAME), Atspi.CoordType.SCREEN)
    place = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    left, top = screen.place_of(window)[:2]
    x, y = left + (place.x - frame.x) * screen.SCALE, top + (place.y - frame.y) * screen.SCALE
    return x, y, x + place.width * screen.SCALE, y + place.height * screen.SCALE


def is_on_screen(window, node):
    left, top, right, bottom = extents_of(window, node)
    room_left, room_top, width, height = screen.room()
    return left >= room_left and top >= room_top and right <= room_left + width and bottom <= room_top + height


def click(window, name):
    node = wait_until(lambda: window.find(name), name)
    place = None

    def is_under_the_pointer():
        """Whether it stood there when the pointer was sent, and still does; sends the pointer where it stands."""
        nonlocal place
        before, place = place, extents_of(window, node)
        if place != before:
            xdotool("mousemove", *screen.on_x((place[0] + place[2]) // 2, (place[1] + place[3]) // 2))
        return place == before

    wait_until(is_under_the_pointer, f"{name} to stand still")
    assert is_on_screen(window, node), f"{name} is at {place}"
    xdotool("click", 1)


def it_opens_in_its_size_or_what_there_is_room_for(window):
    screen.wait_for_input(window)
    left, top, width, height = screen.place_of(window)
    assert left >= 0 and top >= 0, (left, top)
    seen = [number * screen.SCALE for number in screen.OPENS_WITH]
    assert [width, height] == [int(number) for number in seen], ((width, height), seen)


def it_is_drawn_in_the_screens_own_pixels(window):
    """What is drawn in fewer and blown up has hardly a step from dark to bright between two neighbours."""
    screen.wait_for_input(window)
    left, top, right, bottom = extents_of(window, window.find("STOPPED"))

    def sharp():
        rows = screen.pixels(left, top, right - left, bottom - top)
        steps = [abs(one[1] - next_one[1]) for row in rows for one, next_one in zip(row, row[1:])]
        return sum(step > 150 for step in steps) > 20

    wait_until(sharp, "sharp letters")


def the_switch_is_pressed_by_the_pointer(window):
    screen.wait_for_input(window)
    click(window, "Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the click to start the server")
    desk.rest()
    click(window, "Intercom server")
    wait_until(lambda: window.has("STOPPED"), "the click to stop it")


def the_show_is_scrolled_to_its_end_and_saved_by_the_pointer(window):
    screen.wait_for_input(window)
    os.remove(desk.SHOW_FILE)
    # The field of the show's name stands at the top of what scrolls.
    left, top, _, bottom = extents_of(window, window.find("Show name"))
    _, room_top, _, height = screen.room()
    room_bottom = room_top + height
    xdotool("mousemove", *screen.on_x(left + 30, min((top + bottom) // 2, room_bottom - 10)))
    _, window_top, _, height = screen.place_of(window)
    end = min(window_top + height, room_bottom) - 20 * screen.SCALE  # the padding below the last button

    def at_the_end():
        xdotool("click", "--repeat", 5, "--delay", 5, 5)
        return abs(extents_of(window, window.find("Save Show"))[3] - end) < 3 * screen.SCALE

    wait_until(at_the_end, f"the end of the show at {end}")
    click(window, "Save Show")
    assert wait_until(desk.saved_show, "the save")["show"] == "Recital"


def its_corner_makes_it_no_smaller_than_its_least_size(window):
    screen.wait_for_input(window)
    least = tuple(int(number * screen.SCALE) for number in screen.LEAST)
    left, top, width, height = screen.place_of(window)
    x, y = left + width - 2, top + height - 2
    xdotool("mousemove", *screen.on_x(x, y), "mousedown", 1)

    pulled = 0

    def small():
        """As a hand pulls, on and on: how far it was when the desktop took over is not known."""
        nonlocal pulled
        for _ in range(10):
            pulled += 10 * screen.SCALE
            xdotool("mousemove", *screen.on_x(max(0, x - pulled), max(0, y - pulled)))
        return screen.place_of(window)[2:] == least

    wait_until(small, f"the least size {least}")
    xdotool("mouseup", 1)
    # The sizes of the last pull may come in one by one.
    wait_until(lambda: screen.place_of(window) == (left, top, *least), "the least size to stay")


def its_buttons_are_in_sight_and_work(window):
    screen.wait_for_input(window)
    before = screen.place_of(window)
    for name in ("Minimise", "Maximise", "Close"):
        assert is_on_screen(window, window.find(name)), f"{name} is at {extents_of(window, window.find(name))}"
    if all(screen.SIZE[axis] >= screen.LEAST[axis] * screen.SCALE for axis in (0, 1)):
        click(window, "Maximise")
        wait_until(lambda: screen.place_of(window) == screen.room(), "the whole screen")
        click(window, "Restore")
        wait_until(lambda: screen.place_of(window) == before, "the window as it was")
    click(window, "Close")
    assert window.process.wait(desk.TIMEOUT) == 0


desk.run(
    it_opens_in_its_size_or_what_there_is_room_for,
    it_is_drawn_in_the_screens_own_pixels,
    the_switch_is_pressed_by_the_pointer,
    the_show_is_scrolled_to_its_end_and_saved_by_the_pointer,
    *([its_corner_makes_it_no_smaller_than_its_least_size] if ITS_CORNER_IS_IN_SIGHT else []),
    its_buttons_are_in_sight_and_work,
    show=SHOW,
)
