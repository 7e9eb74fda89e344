"""The join card, on the screen and on paper, against a mock of the desk."""

import itertools
import math
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

from browser import Browser, wait_until
from mock_desk import MockDesk, channel, qr, qr_modules
from paper import A4, LETTER, Box, Printed, is_inside, overlap

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "fixtures"))
from firefox import Firefox  # noqa: E402

WEBKIT_PRINT = str(pathlib.Path(__file__).resolve().parents[2] / "fixtures" / "webkit_print.py")


class CardPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desk = MockDesk()
        cls.addClassCleanup(cls.desk.stop)
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.browser.open(self.desk.address + "/help")
        self.browser.run("localStorage.clear()")
        self.desk.reset()
        self.browser.resize(390, 844)
        self.browser.console_errors()

    def tearDown(self):
        bad = [text for text in self.browser.console_errors() if "Failed to load resource" not in text]
        self.assertEqual(bad, [], "errors in the console")

    def open(self, path="/card#code=482913"):
        self.browser.open(self.desk.address + path)

    def open_card(self):
        self.open()
        self.browser.wait_for("#cards")

    def test_the_card_asks_for_the_code(self):
        self.open("/card")
        self.browser.wait_for("#ask")
        self.browser.find("#code").send_keys("111111\n")
        self.browser.wait_for_text("#message", "Wrong code")
        self.browser.find("#code").send_keys("482 913\n")
        self.browser.wait_for("#cards")
        self.assertFalse(self.browser.shown("#ask"))

    def test_the_code_of_the_address_is_used_and_hidden(self):
        self.open_card()
        self.assertEqual(self.browser.run("return location.href"), self.desk.address + "/card")

    def test_the_card_says_where_to_go_and_with_which_code(self):
        self.open_card()
        self.assertEqual(self.browser.text("#show"), "Hamlet")
        self.assertEqual(self.browser.text("#address"), "https://192.168.1.5:47000/")
        self.assertEqual(self.browser.text("#shown-code"), "482913")
        self.assertEqual(self.browser.text("#others"), "https://desk.local:47000/")
        self.assertEqual(self.browser.text("#fingerprint"), self.desk.usual_card()["fingerprint"])
        self.assertEqual(self.browser.run("return document.querySelectorAll('ol li').length"), 3)

    def test_each_role_has_a_card_with_its_own_square(self):
        self.desk.roles["hostile"] = ("<img src=x onerror=alert(1)>", [channel("Main")])
        self.open_card()
        names = self.browser.run("return [...document.querySelectorAll('.role h2')].map((name) => name.textContent)")
        self.assertEqual(names, [name for name, _ in self.desk.roles.values()])
        paths = self.browser.run("return [...document.querySelectorAll('.role path')].map((p) => p.getAttribute('d'))")
        self.assertEqual(paths, [role["qr"]["path"] for role in self.desk.usual_card()["roles"]])

    def test_a_square_is_drawn_module_by_module_with_its_quiet_zone_on_white(self):
        self.open_card()
        rows = qr_modules("https://192.168.1.5:47000/#code=482913")
        size = len(rows)
        script = """
            const picture = document.querySelector('#page-qr svg');
            const [, , width, height] = picture.getAttribute('viewBox').split(' ').map(Number);
            const scale = 8;
            const canvas = document.createElement('canvas');
            canvas.width = width * scale;
            canvas.height = height * scale;
            const context = canvas.getContext('2d');
            // The policy lets no picture in from elsewhere, so the shapes are painted as they are.
            for (const shape of picture.children) {
                context.setTransform(scale, 0, 0, scale, 4 * scale, 4 * scale);
                context.fillStyle = shape.getAttribute('fill');
                const path = new Path2D();
                if (shape.tagName === 'path') path.addPath(new Path2D(shape.getAttribute('d')));
                else {
                    const number = (name) => Number(shape.getAttribute(name));
                    path.rect(number('x'), number('y'), number('width'), number('height'));
                }
                context.fill(path);
            }
            const {data} = context.getImageData(0, 0, canvas.width, canvas.height);
            const dark = [];
            for (let y = 0; y < height; y += 1) {
                const row = [];
                for (let x = 0; x < width; x += 1) {
                    const at = ((y * scale + scale / 2) * canvas.width + x * scale + scale / 2) * 4;
                    row.push(data[at + 3] === 255 && data[at] < 128);
                    if (data[at + 3] !== 255) throw new Error('no ground');
                }
                dark.push(row);
            }
            return dark;"""
        drawn = self.browser.run(script)
        light = [False] * (size + 8)
        expected = [light] * 4 + [[False] * 4 + row + [False] * 4 for row in rows] + [light] * 4
        self.assertEqual(drawn, expected)

    def test_the_card_fits_a_small_phone(self):
        self.desk.show = "W" * 200
        self.browser.resize(320, 640)
        self.open_card()
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 320)

    def test_the_button_prints(self):
        self.open_card()
        self.browser.run("window.print = () => { window.printed = true; }")
        self.browser.tap("#print")
        wait_until(lambda: self.browser.run("return window.printed"), "it is printed")

    def test_paper_is_white_and_carries_no_buttons(self):
        self.open_card()
        self.browser.cdp("Emulation.setEmulatedMedia", media="print")
        self.addCleanup(self.browser.cdp, "Emulation.setEmulatedMedia", media="")
        self.assertEqual(
            self.browser.run("return getComputedStyle(document.body).backgroundColor"), "rgb(255, 255, 255)"
        )
        self.assertEqual(self.browser.run("return getComputedStyle(document.getElementById('show')).color"), "rgb(0, 0, 0)")
        self.assertFalse(self.browser.shown("#tools"))


LONG_ADDRESS = "https://[2001:db8:1111:2222:3333:4444:5555:6666]:47000/"
OTHERS = [
    "https://desk.local:47000/",
    "https://[fe80::1234:5678:9abc:def0]:47000/",
    "https://intercom-desk-in-the-booth.stage.example-theatre.org:47000/",
    "https://[2001:db8:7777:8888:9999:aaaa:bbbb:cccc]:47000/",
    "https://192.168.100.200:47000/",
    "https://10.200.100.201:47000/",
]
MAX_NAME = 60  # characters, for which the sheets have room
NAMES = {  # each begins or ends with a number, which tells where it is printed
    "short": lambda number: f"R{number:02} Fly Floor",
    "words": lambda number: f"R{number:02} Follow Spot on the Upper Gallery, Left, with Spare Lamps"[:MAX_NAME],
    "one wide word": lambda number: f"R{number:02}".ljust(MAX_NAME, "W"),
    "wide letters": lambda number: f"R{number:02} " + "M W " * 14,
    "Chinese": lambda number: f"R{number:02} ".ljust(MAX_NAME, "舞"),
    "Arabic": lambda number: "مدير المسرح " * 4 + f"خشبة R{number:02}",
    "emoji": lambda number: f"R{number:02} ".ljust(MAX_NAME, "🎭"),
}
LONGER = "&key=" + "x" * 35
FROM_A_HAND, FROM_A_DOOR = 120, 40  # dots per inch that a phone's camera gets at 30 cm and 1 m (1920 pixels, 70 degrees)
MARGIN, SHEET_WIDTH, SHEET_HEIGHT = 12, 186, 243  # millimetres
ROWS, COLUMNS = 3, 2


def card_of(desk, address, others, longer):
    """The desk's usual card with other addresses, and with URLs that are longer by `longer`."""
    usual = desk.usual_card()

    def code(url):
        whole = url.replace(usual["address"], address) + longer
        return {"url": whole, "qr": qr(whole)}

    roles = [{"name": role["name"], **code(role["url"])} for role in usual["roles"]]
    return {**usual, "address": address, "others": others, "page": code(usual["page"]["url"]), "roles": roles}


def sheet_of(paper):
    """Where things are printed."""
    left = (paper[0] - SHEET_WIDTH) / 2
    return Box(left, MARGIN, left + SHEET_WIDTH, MARGIN + SHEET_HEIGHT)


def cells_of(paper):
    """Where the cards of a sheet are printed."""
    sheet = sheet_of(paper)
    width, height = SHEET_WIDTH / COLUMNS, SHEET_HEIGHT / ROWS
    corners = [(sheet.left + x * width, sheet.top + y * height) for y in range(ROWS) for x in range(COLUMNS)]
    return [Box(x, y, x + width, y + height) for x, y in corners]


class CardOnPaperTest(unittest.TestCase):
    """One sheet for the door, and sheets of six role cards each, whatever the names are."""

    browser_type = Browser

    @classmethod
    def setUpClass(cls):
        cls.desk = MockDesk()
        cls.addClassCleanup(cls.desk.stop)
        cls.browser = cls.enterClassContext(cls.browser_type())

    def show_card(self, kind, roles, show=None, others=(), address="https://192.168.1.5:47000/", longer=""):
        name = NAMES[kind]
        self.desk.show = show if show is not None else name(0).strip()
        self.desk.roles = {f"k7d2m9{number:02}": (name(number).strip(), []) for number in range(1, roles + 1)}
        self.desk.card = card_of(self.desk, address, others, longer)
        self.browser.open(self.desk.address + "/help")
        self.browser.open(self.desk.address + "/card#code=482913")
        self.browser.wait_for("#cards")

    def check_print(self):
        self.check_boxes()
        for paper in (A4, LETTER):
            with self.subTest(paper=paper, show=self.desk.show, roles=len(self.desk.roles)):
                printed = Printed(self.browser.print_to_pdf(*paper))
                sheets = printed.words()
                roles = self.desk.card["roles"]
                self.assertEqual(len(sheets), 1 + math.ceil(len(roles) / (ROWS * COLUMNS)))
                self.check_door(printed, sheets[0], paper)
                for sheet, words in enumerate(sheets[1:], start=1):
                    first = (sheet - 1) * ROWS * COLUMNS
                    cells = cells_of(paper)[: len(roles) - first]
                    codes = printed.codes(sheet, cells, FROM_A_HAND)
                    self.check_roles(roles[first : first + ROWS * COLUMNS], cells, words, codes)
                    self.check_room(words, codes, paper)

    def check_boxes(self):
        """No part of a card is larger than its place in the card or lies on another part."""
        script = """
            const box = (element) => {
                const {left, top, right, bottom} = element.getBoundingClientRect();
                return [left, top, right, bottom];
            };
            const parts = '.everybody > header > *, .everybody .join > *, .everybody > ol, .everybody > p,' +
                '.role h2, .role .qr, .role p';
            return [...document.querySelectorAll('.everybody, .role')].map((card) => [
                box(card),
                [...card.querySelectorAll(parts)].filter((part) => part.offsetHeight > 0).map(box),
            ]);"""
        self.browser.cdp("Emulation.setEmulatedMedia", media="print")
        try:
            cards = self.browser.run(script)
        finally:
            self.browser.cdp("Emulation.setEmulatedMedia", media="")
        for card, parts in cards:
            for part in parts:
                self.assertTrue(is_inside(Box(*part), Box(*card)), f"{part} in {card}")
            for one, other in itertools.combinations(parts, 2):
                self.assertLess(overlap(Box(*one), Box(*other)), 0.5, "pixels")

    def check_door(self, printed, words, paper):
        codes = printed.codes(0, [Box(0, 0, *paper)], FROM_A_DOOR)
        self.assertEqual([code.text for code in codes], [self.desk.card["page"]["url"]])
        self.check_room(words, codes, paper)
        text = "".join(word.text for word in words if word.text != "482913")  # it stands beside the address
        for expected in (*self.desk.card["others"], self.desk.card["address"], self.desk.card["fingerprint"], "releaseit."):
            self.assertIn(expected, text)
        self.assertIn("482913", [word.text for word in words])

    def check_roles(self, roles, cells, words, codes):
        """Each code leads to the role whose name is printed in its card, with the code to type."""
        self.assertEqual([code.text for code in codes], [role["url"] for role in roles])
        show = re.findall(r"R\d\d", self.desk.show)
        outside = list(words)
        for role, cell, code in zip(roles, cells, codes):
            self.assertTrue(is_inside(code.box, cell))
            inside = [word for word in words if is_inside(word.box, cell)]
            numbers = [number for word in inside for number in re.findall(r"R\d\d", word.text)]
            self.assertEqual(sorted(numbers), sorted(re.findall(r"R\d\d", role["name"]) + show))
            self.assertIn("482913", [word.text for word in inside])
            self.assertIn(self.desk.card["address"], "".join(word.text for word in inside))
            outside = [word for word in outside if word not in inside]
        self.assertEqual(outside, [])

    def check_room(self, words, codes, paper):
        """Everything is on the sheet, and nothing lies on anything else."""
        boxes = [*words, *codes]
        for printed in boxes:
            self.assertTrue(is_inside(printed.box, sheet_of(paper)), printed)
        for one, other in itertools.combinations(boxes, 2):
            height = min(one.box.bottom - one.box.top, other.box.bottom - other.box.top)
            # The boxes of two lines of text overlap by what is left free above and below their letters.
            self.assertLess(overlap(one.box, other.box), 0.3 * height, f"{one} and {other}")

    def test_there_is_one_sheet_for_the_door_and_one_for_every_six_roles(self):
        for roles in (0, 1, 2, 5, 6, 7, 40):
            self.show_card("short", roles, show="Hamlet")
            self.check_print()

    def test_names_of_sixty_characters_of_any_script_fit(self):
        for kind in NAMES:
            self.show_card(kind, 6)
            self.check_print()

    def test_usual_names_are_printed_large(self):
        self.show_card("short", 1, show="The Merry Wives of Windsor")
        self.assertEqual(self.browser.run("return document.querySelectorAll('.fitted[style*=\"--fit: 1;\"]').length"), 5)

    def test_long_addresses_fit_and_their_codes_can_be_scanned(self):
        for kind in ("one wide word", "emoji"):
            self.show_card(kind, 6, others=OTHERS, address=LONG_ADDRESS, longer=LONGER)
            self.check_print()


class CardOnPaperInFirefoxTest(CardOnPaperTest):
    browser_type = Firefox

    def check_boxes(self):
        pass  # Firefox shows no page on the screen as it would print it


class CardOnPaperInWebKitTest(unittest.TestCase):
    def print_card(self, desk, paper):
        with tempfile.TemporaryDirectory(prefix="wingbell-webkit-") as folder:
            file = f"{folder}/card.pdf"
            width, height = map(str, paper)
            page = [f"{desk.address}/card#code=482913", "Wingbell join card"]
            subprocess.run(
                ["xvfb-run", "-a", "/usr/bin/python3", WEBKIT_PRINT, *page, width, height, file],
                env={**os.environ, "HOME": folder}, check=True, capture_output=True, timeout=60,
            )  # fmt: skip
            return Printed(pathlib.Path(file).read_bytes())

    def test_a_style_sheet_that_comes_late_spoils_no_sheet(self):
        desk = MockDesk()
        self.addCleanup(desk.stop)
        handler = desk.server.RequestHandlerClass
        original = handler.send_file

        def send_file(request, path):
            if path == "/card.css":
                time.sleep(0.5)
            original(request, path)

        handler.send_file = send_file
        desk.show = NAMES["one wide word"](0)
        desk.roles = {f"k7d2m9{number:02}": (NAMES["one wide word"](number), []) for number in range(1, 8)}
        desk.card = card_of(desk, LONG_ADDRESS, OTHERS, LONGER)
        for paper in (A4, LETTER):
            printed = self.print_card(desk, paper)
            self.assertEqual(len(printed.words()), 3, paper)
            codes = printed.codes(0, [Box(0, 0, *paper)], 2 * FROM_A_DOOR)
            self.assertEqual([code.text for code in codes], [desk.card["page"]["url"]])


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
