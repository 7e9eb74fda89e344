"""The join card, on the screen and on paper, against a mock of the desk."""

import base64
import re
import sys
import unittest

from browser import Browser, wait_until
from mock_desk import MockDesk, channel, qr_modules

A4 = (8.27, 11.69)  # inches
LETTER = (8.5, 11)


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

    def pages(self, paper):
        width, height = paper
        pdf = self.browser.cdp("Page.printToPDF", paperWidth=width, paperHeight=height)["data"]
        return len(re.findall(rb"/Type\s*/Page\b", base64.b64decode(pdf)))

    def test_the_door_has_a_page_and_six_roles_share_one(self):
        self.desk.roles = {f"role{i}": (f"Role {i}", [channel("Main")]) for i in range(6)}
        self.open_card()
        self.assertEqual([self.pages(A4), self.pages(LETTER)], [2, 2])
        self.desk.roles["one more"] = ("One more", [channel("Main")])
        self.open("/help")
        self.open_card()
        self.assertEqual([self.pages(A4), self.pages(LETTER)], [3, 3])


if __name__ == "__main__":
    program = unittest.main(exit=False, verbosity=2)
    sys.exit(0 if program.result.wasSuccessful() and program.result.testsRun else 1)
