"""The compositor's screen that the window is on, which is a window of the X server, and the window's place there.

No program is told a window's place on Wayland, so it is looked for where the desktop's background ends.
"""

import functools
import os

from desk import Atspi, output_of, wait_until, xdotool
import x_screen

_POINTS = tuple(int(number) for number in os.environ.get("WINGBELL_OUTPUT_SIZE", "1200x940").split("x"))
_OUTPUT_SCALE = int(os.environ.get("WINGBELL_OUTPUT_SCALE", "1"))
_BACKGROUND = (0x30, 0x50, 0x70)
_BAR = 32 * _OUTPUT_SCALE if os.environ.get("WINGBELL_OUTPUT_BAR") == "top" else 0
_LEFT_FOR_BARS = 64

SIZE = tuple(number * _OUTPUT_SCALE for number in _POINTS)
SCALE = _OUTPUT_SCALE * x_screen.SCALE  # pixels per point
# Of the screen's points, as the toolkit rounds them.
_ROOM = tuple(round(number / SCALE) - _LEFT_FOR_BARS for number in SIZE)
MIN_SIZE = tuple(min(x_screen.MIN_SIZE[axis], _ROOM[axis]) for axis in (0, 1))
OPENS_WITH = tuple(min((820, 760)[axis], _ROOM[axis]) for axis in (0, 1))


@functools.cache
def the_screen():
    """The compositor's window on the X server, which stays where it is: its identifier, left and top."""
    identifier = wait_until(lambda: output_of("xdotool", "search", "--onlyvisible", "--class", "weston"), "its window")
    return identifier, *x_screen.place_on_x(identifier)[:2]


def frame_size(window):
    """The window's size in points, as it says itself."""
    frame = window.find(role=Atspi.Role.FRAME)
    place = Atspi.Component.get_extents(frame, Atspi.CoordType.SCREEN)
    return place.width, place.height


def pixels(left, top, width, height):
    """The rows of that part of the screen, each a list of (red, green, blue)."""
    return x_screen.pixels_on_x(the_screen()[0], left, top, width, height)


def near(pixel, colour):
    return all(abs(pixel[channel] - colour[channel]) < 6 for channel in range(3))


def _run_of_others(line, middle):
    """Where what is not the background begins and ends around the middle of the line."""
    begin = end = middle
    while begin > 0 and not near(line[begin - 1], _BACKGROUND):
        begin -= 1
    while end < len(line) and not near(line[end], _BACKGROUND):
        end += 1
    return begin, end


def place_of(window):
    """Left, top, width and height of the window; nothing while it cannot be seen."""
    width, height = SIZE
    # Wherever the window stands, it has a part of the middle of the screen: it is larger than the half.
    (row,) = pixels(0, height // 2, width, 1)
    left, right = _run_of_others(row, width // 2)
    column = [pixel for (pixel,) in pixels((left + right) // 2, 0, 1, height)]
    top, bottom = _run_of_others(column, height // 2)
    return (left, top, right - left, bottom - top) if right > left and bottom > top else None


def room():
    """Left, top, width and height of what a window can have of the screen."""
    return 0, _BAR, SIZE[0], SIZE[1] - _BAR


def on_x(x, y):
    """That pixel of the screen, as the pointer is sent there."""
    _, left, top = the_screen()
    return left + int(x), top + int(y)


def wait_for_input(window):
    wait_until(lambda: place_of(window), "the window on the screen")
    xdotool("mousemove", 0, 0)  # the compositor knows a pointer that has come in from outside
