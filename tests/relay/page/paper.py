"""What a page looks like on paper: its sheets, the words on them and their QR codes, all lengths in millimetres."""

import collections
import ctypes
import html
import re
import subprocess

A4 = (210, 297)
LETTER = (215.9, 279.4)
INCH = 25.4
POINT = INCH / 72

Box = collections.namedtuple("Box", "left top right bottom")
Word = collections.namedtuple("Word", "text box")
Code = collections.namedtuple("Code", "text box")  # the box without the quiet zone


def is_inside(box, outer):
    return outer.left < box.left and box.right < outer.right and outer.top < box.top and box.bottom < outer.bottom


def overlap(one, other):
    """By how much two boxes overlap, in the direction in which it is less; not positive if they do not."""
    return min(
        min(one.right, other.right) - max(one.left, other.left), min(one.bottom, other.bottom) - max(one.top, other.top)
    )


class Printed:
    """A page in the PDF that a browser made of it."""

    def __init__(self, pdf):
        self.pdf = pdf

    def words(self):
        """Those of each sheet, without emoji, whose boxes pdftotext cannot tell."""
        # Not quite XML: it may hold characters that XML forbids.
        output = _run("pdftotext", "-bbox", "-", "-", input=self.pdf).decode(errors="replace")
        word = r'<word xMin="(.*?)" yMin="(.*?)" xMax="(.*?)" yMax="(.*?)">(.*?)</word>'
        return [
            [
                Word(html.unescape(text), Box(*(float(side) * POINT for side in sides)))
                for *sides, text in re.findall(word, page)
                if max(text) < "\U0001f000"
            ]
            for page in output.split("<page ")[1:]
        ]

    def codes(self, sheet, places, dots_per_inch):
        """The QR codes in those places of a sheet, from 0, as a camera reads each that gets so many pixels of it."""
        number = str(sheet + 1)
        output = _run("pdftoppm", "-gray", "-r", str(dots_per_inch), "-f", number, "-l", number, "-", input=self.pdf)
        header = re.match(rb"P5\s+(\d+)\s+(\d+)\s+255\s", output)
        width, height = (int(field) for field in header.groups())
        pixels = output[header.end() :]
        found = []
        for place in places:
            left, top, right, bottom = (round(side * dots_per_inch / INCH) for side in place)
            right, bottom = min(right, width), min(bottom, height)
            rows = [pixels[y * width + left : y * width + right] for y in range(top, bottom)]
            for text, (x, y) in _scan(b"".join(rows), right - left, len(rows)):
                box = (left + min(x), top + min(y), left + max(x), top + max(y))
                found.append(Code(text, Box(*(INCH * side / dots_per_inch for side in box))))
        return found


def _run(*command, **more):
    return subprocess.run(command, capture_output=True, check=True, **more).stdout


def _scan(pixels, width, height):
    """The text and the corners, as all their x and all their y, of each QR code that libzbar finds."""
    zbar = ctypes.CDLL("libzbar.so.0")
    for function in ("zbar_image_scanner_create", "zbar_image_create", "zbar_image_first_symbol", "zbar_symbol_next"):
        getattr(zbar, function).restype = ctypes.c_void_p
    zbar.zbar_symbol_get_data.restype = ctypes.c_char_p
    qr_code, enable = 64, 0
    scanner = ctypes.c_void_p(zbar.zbar_image_scanner_create())
    image = ctypes.c_void_p(zbar.zbar_image_create())
    try:
        zbar.zbar_image_scanner_set_config(scanner, 0, enable, 0)
        zbar.zbar_image_scanner_set_config(scanner, qr_code, enable, 1)
        zbar.zbar_image_set_format(image, ctypes.c_ulong(int.from_bytes(b"Y800", "little")))
        zbar.zbar_image_set_size(image, width, height)
        zbar.zbar_image_set_data(image, pixels, ctypes.c_ulong(len(pixels)), None)
        zbar.zbar_scan_image(scanner, image)
        found = []
        symbol = ctypes.c_void_p(zbar.zbar_image_first_symbol(image))
        while symbol:
            corners = range(zbar.zbar_symbol_get_loc_size(symbol))
            x = [zbar.zbar_symbol_get_loc_x(symbol, corner) for corner in corners]
            y = [zbar.zbar_symbol_get_loc_y(symbol, corner) for corner in corners]
            found.append((zbar.zbar_symbol_get_data(symbol).decode(), (x, y)))
            symbol = ctypes.c_void_p(zbar.zbar_symbol_next(symbol))
        return found
    finally:
        zbar.zbar_image_destroy(image)
        zbar.zbar_image_scanner_destroy(scanner)
