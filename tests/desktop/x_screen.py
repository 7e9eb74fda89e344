"""The X server's screen that the window is on, and the window's place on it, in pixels."""

import ctypes
import os

from desk import output_of

SIZE = tuple(int(number) for number in os.environ["WINGBELL_SCREEN"].split("x")[:2])
SCALE = float(os.environ.get("QT_SCALE_FACTOR", "1"))  # pixels per point
MIN_SIZE = (780, 680)
OPENS_WITH = tuple(max(MIN_SIZE[axis], min((820, 760)[axis], SIZE[axis] / SCALE)) for axis in (0, 1))


def place_on_x(identifier):
    """Left, top, width and height of a window of the X server."""
    words = output_of("xwininfo", "-id", identifier).splitlines()
    labels = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
    return tuple(next(int(line.split(":")[1]) for line in words if line.strip().startswith(label)) for label in labels)


def place_of(window):
    """Left, top, width and height of the window."""
    return place_on_x(window.window)


def room():
    """Left, top, width and height of what a window can have of the screen."""
    return 0, 0, *SIZE


def on_x(x, y):
    """That pixel of the screen, as the pointer is sent there."""
    return int(x), int(y)


def wait_for_input(window):
    window.wait_for_input()


def pixels(left, top, width, height):
    """The rows of that part of the screen, each a list of (red, green, blue)."""
    return pixels_on_x(None, left, top, width, height)


class _XImage(ctypes.Structure):
    """The beginning of what the X library calls by this name."""

    _fields_ = [
        *[(name, ctypes.c_int) for name in ("width", "height", "xoffset", "format")],
        ("data", ctypes.POINTER(ctypes.c_ubyte)),
        *[(name, ctypes.c_int) for name in ("byte_order", "unit", "bit_order", "pad", "depth", "line", "bits")],
    ]


def pixels_on_x(identifier, left, top, width, height):
    """The rows of that part of a window of the X server (the whole screen for None)."""
    library = ctypes.CDLL("libX11.so.6")
    library.XOpenDisplay.restype = ctypes.c_void_p
    library.XDefaultRootWindow.restype = ctypes.c_ulong
    library.XGetImage.restype = ctypes.POINTER(_XImage)
    display = ctypes.c_void_p(library.XOpenDisplay(None))
    drawable = int(identifier) if identifier else library.XDefaultRootWindow(display)
    every_plane, as_pixels = ctypes.c_ulong(0xFFFFFF), 2
    image = library.XGetImage(
        display, ctypes.c_ulong(drawable), int(left), int(top), int(width), int(height), every_plane, as_pixels
    )
    try:
        line, bits, low_first = image.contents.line, image.contents.bits, image.contents.byte_order == 0
        assert bits == 32 and low_first, (bits, low_first)
        raw = ctypes.string_at(image.contents.data, line * int(height))
        library.XFree(image.contents.data)
        library.XFree(image)
    finally:
        library.XCloseDisplay(display)
    rows = [raw[start : start + 4 * int(width)] for start in range(0, len(raw), line)]
    return [list(zip(row[2::4], row[1::4], row[0::4])) for row in rows]
