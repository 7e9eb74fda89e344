"""The window has no title bar: its own header moves it, its edges resize it, its buttons end it."""

import ctypes
import os

import Xlib.display
import Xlib.X

import desk
from desk import keys, output_of, wait_until, xdotool

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": "Stage Manager", "talk": [], "listen": ["Main"]}],
    "oscPort": 47123,
}
MIN_SIZE = (780, 680)
HEADER = (200, 30)  # a place on the header where nothing else is
SCREEN = (1280, 1024)


def place_of(window):
    """Left, top, width and height of the window on the screen."""
    words = output_of("xwininfo", "-id", window.window).splitlines()

    def number(label):
        return next(int(line.split(":")[1]) for line in words if line.strip().startswith(label))

    return (
        number("Absolute upper-left X"),
        number("Absolute upper-left Y"),
        number("Width"),
        number("Height"),
    )


def size_of(window):
    return place_of(window)[2:]


def state_of(identifier):
    return output_of("xprop", "-id", identifier, "_NET_WM_STATE")


class ClientMessage(ctypes.Structure):
    """XClientMessageEvent, as large as the largest event."""

    _fields_ = [
        ("type", ctypes.c_int),
        ("serial", ctypes.c_ulong),
        ("send_event", ctypes.c_int),
        ("display", ctypes.c_void_p),
        ("window", ctypes.c_ulong),
        ("message_type", ctypes.c_ulong),
        ("format", ctypes.c_int),
        ("data", ctypes.c_long * 5),
        ("rest", ctypes.c_long * 24),
    ]


def ask_for_full_screen(identifier):
    """Does what the window manager's menu or shortcut does."""
    library = ctypes.CDLL("libX11.so.6")
    library.XOpenDisplay.restype = ctypes.c_void_p
    library.XDefaultRootWindow.restype = library.XInternAtom.restype = ctypes.c_ulong
    display = ctypes.c_void_p(library.XOpenDisplay(None))
    state, full = (library.XInternAtom(display, name, 0) for name in (b"_NET_WM_STATE", b"_NET_WM_STATE_FULLSCREEN"))
    event = ClientMessage(type=33, window=int(identifier), message_type=state, format=32)
    event.data[:3] = [1, full, 0]
    redirect = 1 << 20  # what a window manager listens to
    root = ctypes.c_ulong(library.XDefaultRootWindow(display))
    library.XSendEvent(display, root, 0, ctypes.c_long(redirect), ctypes.byref(event))
    library.XCloseDisplay(display)


def opened(window):
    """Waits until the window takes input and has space on all sides."""
    identifier = window.wait_for_input()
    xdotool("windowmove", identifier, 150, 120)
    wait_until(lambda: place_of(window)[:2] == (150, 120), "the window in its place")
    switch = wait_until(lambda: window.find("Intercom server"), "the switch")
    wait_until(lambda: desk.window_place(switch) == (150, 120), "the window to know its place")
    return identifier


def pointer_is_free():
    """Whether no program has grabbed the pointer; tries to grab it."""
    display = Xlib.display.Display()
    try:
        root = display.screen().root
        mode = Xlib.X.GrabModeAsync
        return root.grab_pointer(False, 0, mode, mode, 0, 0, Xlib.X.CurrentTime) == Xlib.X.GrabSuccess
    finally:
        display.close()


class Grip:
    """Holds down the pointer's button on the window."""

    def __init__(self, window, offset):
        left, top = place_of(window)[:2]
        self.at = (left + offset[0], top + offset[1])
        self.window = window
        xdotool("mousemove", *self.at, "mousedown", 1)

    def to(self, by):
        """Moves the pointer there in small steps, as a hand does."""
        steps = 10
        start = self.at
        for number in range(1, steps + 1):
            self.at = tuple(start[axis] + by[axis] * number // steps for axis in (0, 1))
            xdotool("mousemove", *self.at)

    def takes_hold(self, by):
        """Drags until the window has changed; movements before the window manager takes over have no effect."""
        before = place_of(self.window)

        def changed():
            self.to(by)
            self.to((-by[0], -by[1]))
            self.to(by)
            return place_of(self.window) != before

        wait_until(changed, "the window to follow the pointer")
        self.settled()

    def settled(self):
        """Waits until the window has stopped moving under the pointer."""
        seen = []

        def same():
            seen.append(place_of(self.window))
            return len(seen) > 3 and len(set(seen[-3:])) == 1

        wait_until(same, "the window to stop moving")
        return seen[-1]

    def drop(self):
        """Releases the button and waits until the window manager has released the pointer: an earlier click would go to it."""
        xdotool("mouseup", 1)
        wait_until(pointer_is_free, "the window manager to release the pointer")


def no_frame_is_drawn_around_it(window):
    identifier = opened(window)
    extents = output_of("xprop", "-id", identifier, "_NET_FRAME_EXTENTS")
    # Other window managers may not report a frame that they do not draw.
    no_frame = "= 0, 0, 0, 0" if os.environ["WINGBELL_WINDOW_MANAGER"] == "openbox" else ("= 0, 0, 0, 0", "not found.")
    assert extents.endswith(no_frame), extents
    hints = output_of("xprop", "-id", identifier, "_MOTIF_WM_HINTS").split("= ")[1].split(", ")
    assert int(hints[0], 16) & 2 and int(hints[2], 16) == 0, hints


def it_opens_in_its_size_and_reports_its_minimum_size(window):
    window.wait_for_input()
    assert size_of(window) == (820, 760), size_of(window)
    hints = output_of("xprop", "-id", window.window, "WM_NORMAL_HINTS")
    assert "program specified minimum size: 780 by 680" in hints, hints


def it_cannot_be_made_smaller_than_its_minimum_size(window):
    identifier = opened(window)
    xdotool("windowsize", identifier, 500, 400)
    wait_until(lambda: size_of(window) != (820, 760), "the window to shrink")
    wait_until(lambda: size_of(window) == MIN_SIZE, f"the minimum size; it is {size_of(window)}")
    xdotool("windowsize", identifier, 900, 800)
    wait_until(lambda: size_of(window) == (900, 800), "the window to grow")

    grip = Grip(window, (899, 799))
    grip.takes_hold((-60, -60))
    grip.to((-400, -400))
    wait_until(lambda: size_of(window) == MIN_SIZE, f"the minimum size by the corner; it is {size_of(window)}")
    grip.drop()
    assert size_of(window) == MIN_SIZE


def the_header_moves_it(window):
    opened(window)
    before = place_of(window)
    grip = Grip(window, HEADER)
    grip.takes_hold((40, 30))
    held = grip.settled()
    grip.to((35, 25))
    wait_until(lambda: place_of(window)[:2] == (held[0] + 35, held[1] + 25), "the window to follow exactly")
    grip.drop()
    assert size_of(window) == before[2:]


def a_press_that_hardly_moves_does_not_move_it(window):
    opened(window)
    before = place_of(window)
    grip = Grip(window, HEADER)
    grip.to((3, 3))
    grip.drop()
    # By the time the window has done the next thing it has done this one.
    press_switch(window)
    assert place_of(window) == before


def press_switch(window):
    """One click on the switch, and off again."""
    desk.rest()
    desk.click(window.find("Intercom server"))
    wait_until(lambda: window.has("ON AIR"), "the click to start the server")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")


def the_click_after_a_move_counts(window):
    opened(window)
    grip = Grip(window, HEADER)
    grip.takes_hold((40, 30))
    grip.drop()
    press_switch(window)
    grip = Grip(window, HEADER)
    grip.takes_hold((-40, -30))
    grip.drop()
    xdotool("mousemove", *grip.at, "click", "--repeat", 2, "--delay", 40, 1)
    identifier = window.window
    wait_until(lambda: "MAXIMIZED_VERT" in state_of(identifier), "the double click after a move to maximise")


def every_edge_and_corner_resizes_it(window):
    identifier = opened(window)
    for horizontal in (-1, 0, 1):
        for vertical in (-1, 0, 1):
            if (horizontal, vertical) == (0, 0):
                continue
            xdotool("windowsize", identifier, 860, 800, "windowmove", identifier, 150, 120)
            wait_until(lambda: place_of(window) == (150, 120, 860, 800), "the window in its place")
            x = {-1: 1, 0: 300, 1: 858}[horizontal]
            y = {-1: 1, 0: 400, 1: 798}[vertical]
            grip = Grip(window, (x, y))
            grip.takes_hold((30 * (horizontal or 1), 30 * (vertical or 1)))
            grip.drop()
            left, top, width, height = grip.settled()
            edge = (horizontal, vertical)
            assert (width > 860) == (horizontal != 0) and (height > 800) == (vertical != 0), (edge, width, height)
            assert (left < 150) == (horizontal < 0) and (top < 120) == (vertical < 0), (edge, left, top)
            if horizontal < 0:
                assert left + width == 150 + 860, (edge, left, width)
            if vertical < 0:
                assert top + height == 120 + 800, (edge, top, height)


def the_scroll_bar_beside_the_edge_scrolls_by_its_whole_width(window):
    opened(window)
    left, top, width, height = place_of(window)
    save = window.find("Save Show")

    def is_at_end():
        return desk.has_state(save, desk.Atspi.StateType.SHOWING)

    for inwards in (6, 10, 14):
        for up, at_end in ((10, True), (height - 400, False)):
            xdotool("mousemove", left + width - inwards, top + height - up, "click", 1)
            wait_until(lambda: is_at_end() == at_end, f"a scroll by the bar's point {inwards} inwards")
    assert place_of(window) == (left, top, width, height)


def a_double_click_on_the_header_maximises_and_restores(window):
    identifier = opened(window)
    before = place_of(window)
    for _ in range(2):
        left, top = place_of(window)[:2]
        xdotool("mousemove", left + HEADER[0], top + HEADER[1], "click", "--repeat", 2, "--delay", 40, 1)
        wait_until(lambda: place_of(window) == (0, 0, *SCREEN), "the whole screen")
        assert "MAXIMIZED_VERT" in state_of(identifier) and "MAXIMIZED_HORZ" in state_of(identifier)
        wait_until(lambda: window.has("Restore"), "the button to restore")
        xdotool("mousemove", *HEADER, "click", "--repeat", 2, "--delay", 40, 1)
        wait_until(lambda: place_of(window) == before, f"the window as it was; it is {place_of(window)}")
        wait_until(lambda: window.has("Maximise"), "the button to maximise")


def a_full_screen_window_restores_by_its_button_and_its_header(window):
    identifier = opened(window)
    before = place_of(window)
    ways_back = (
        lambda: desk.click(window.find("Restore")),
        lambda: xdotool("mousemove", *HEADER, "click", "--repeat", 2, "--delay", 40, 1),
    )
    for go_back in ways_back:
        ask_for_full_screen(identifier)
        wait_until(lambda: place_of(window) == (0, 0, *SCREEN), "the whole screen")
        wait_until(lambda: window.has("Restore"), "the button to restore")
        go_back()
        wait_until(lambda: place_of(window) == before, f"the window as it was; it is {place_of(window)}")
        assert "FULLSCREEN" not in state_of(identifier)
        wait_until(lambda: window.has("Maximise"), "the button to maximise")


def a_maximised_window_has_no_edges_to_drag(window):
    opened(window)
    window.press("Maximise")
    wait_until(lambda: place_of(window) == (0, 0, *SCREEN), "the whole screen")
    grip = Grip(window, (SCREEN[0] - 2, SCREEN[1] - 2))
    grip.to((-80, -80))
    grip.drop()
    press_switch(window)
    assert place_of(window) == (0, 0, *SCREEN)


def its_buttons_minimise_maximise_and_close(window):
    identifier = opened(window)
    before = place_of(window)
    desk.click(window.find("Minimise"))
    wait_until(lambda: "HIDDEN" in state_of(identifier), "the window to be minimised")
    xdotool("windowactivate", identifier)
    wait_until(lambda: "HIDDEN" not in state_of(identifier), "the window to be back")
    wait_until(lambda: window.window == identifier, "the window to be seen")
    assert place_of(window) == before and window.has("STOPPED")

    desk.click(window.find("Maximise"))
    wait_until(lambda: place_of(window) == (0, 0, *SCREEN), "the whole screen")
    desk.click(wait_until(lambda: window.find("Restore"), "the button to restore"))
    wait_until(lambda: place_of(window) == before, "the window as it was")
    desk.click(window.find("Close"))
    assert window.process.wait(desk.TIMEOUT) == 0


def its_buttons_are_no_handle(window):
    opened(window)
    before = place_of(window)
    left, top = before[:2]
    for name in ("Minimise", "Maximise", "Close"):
        x, y = desk.middle_of(window.find(name))
        grip = Grip(window, (x - left, y - top))
        grip.to((-70, 90))  # let go elsewhere: nothing is pressed
        grip.drop()
        press_switch(window)
        assert place_of(window) == before, name

    # The first click maximises, the second finds the button that restores: a header would do both at once.
    identifier = window.window
    xdotool("mousemove", *desk.middle_of(window.find("Minimise")), "click", "--repeat", 2, "--delay", 40, 1)
    wait_until(lambda: "HIDDEN" in state_of(identifier), "the window to be minimised")
    xdotool("windowactivate", identifier)
    wait_until(lambda: "HIDDEN" not in state_of(identifier), "the window to be back")
    press_switch(window)
    assert place_of(window) == before and "MAXIMIZED" not in state_of(identifier)


def the_keyboard_closes_it(window):
    opened(window)
    keys("alt+F4")
    assert window.process.wait(desk.TIMEOUT) == 0


def a_running_server_outlives_it(window):
    opened(window)
    desk.click(window.find("Intercom server"))
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    (server,) = desk.children_of(window.process.pid)
    keys("alt+F4")
    assert window.process.wait(desk.TIMEOUT) == 0
    assert desk.alive(server), "the server went with its window"
    # Its output is no longer read, and it still takes announcements.
    desk.send_osc(47123, "/wingbell/say", "still here")
    assert desk.alive(server)
    desk.os.kill(server, 15)
    wait_until(lambda: not desk.alive(server), "the server to end")


desk.run(
    no_frame_is_drawn_around_it,
    it_opens_in_its_size_and_reports_its_minimum_size,
    it_cannot_be_made_smaller_than_its_minimum_size,
    the_header_moves_it,
    a_press_that_hardly_moves_does_not_move_it,
    the_click_after_a_move_counts,
    every_edge_and_corner_resizes_it,
    the_scroll_bar_beside_the_edge_scrolls_by_its_whole_width,
    a_double_click_on_the_header_maximises_and_restores,
    a_full_screen_window_restores_by_its_button_and_its_header,
    a_maximised_window_has_no_edges_to_drag,
    its_buttons_minimise_maximise_and_close,
    its_buttons_are_no_handle,
    the_keyboard_closes_it,
    a_running_server_outlives_it,
    show=SHOW,
)
