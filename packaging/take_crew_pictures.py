"""Takes the guide's pictures of the crew's pages: SERVER FOLDER. To be run by in_show_network.sh."""

import base64
import os
import subprocess
import sys

FIXTURES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "fixtures")
sys.path.insert(0, FIXTURES)

import own_network  # pylint: disable=wrong-import-position

own_network.enter()

# Only here: they start threads, and a process that creates a namespace must have none.
from crew_browser import CrewBrowser  # pylint: disable=wrong-import-position
from on_air import Server, show_with, wait_until  # pylint: disable=wrong-import-position

CODE = "482913"  # the same in every picture of the guide
CHANNELS = ["Main", "Tech", "Backstage", "Green Room"]
ROLES = {
    "Stage Manager": (CHANNELS[:3], CHANNELS),
    "Lighting": (["Tech"], ["Main", "Tech"]),
    "Backstage Crew": (["Main", "Backstage"], ["Main", "Backstage"]),
    "Director": ([], ["Main"]),
}
PHONE = {"width": 390, "height": 844, "deviceScaleFactor": 1.5, "mobile": True}
A4 = {"paperWidth": 210 / 25.4, "paperHeight": 297 / 25.4}  # inches

program, output = sys.argv[1:3]


def keep_code(code):
    """Writes the crew code as an earlier show would have."""
    folder = os.path.join(os.environ["XDG_STATE_HOME"], "wingbell")
    os.mkdir(folder, 0o700)
    with open(os.open(f"{folder}/crew-code", os.O_WRONLY | os.O_CREAT, 0o600), "w", encoding="ascii") as file:
        file.write(code + "\n")


def command(browser, name, **arguments):
    return browser.driver.execute_cdp_cmd(name, arguments)


def look_like(browser, device):
    command(browser, "Emulation.setDeviceMetricsOverride", **device)


def shot(browser):
    """Once the page no longer changes."""
    shots = [None]

    def still():
        shots.append(command(browser, "Page.captureScreenshot", format="png")["data"])
        return shots[-1] == shots[-2]

    wait_until(still, f"the page of {browser.name} to stand still")
    return base64.b64decode(shots[-1])


def write(name, picture):
    # A palette suits what has few colours, and makes a third of the size.
    small = ["+dither", "-colors", "256", "-define", "png:compression-level=9"]
    subprocess.run(["convert", "png:-", "-strip", *small, f"{output}/{name}"], input=picture, check=True)


def picture(browser, name):
    write(name, shot(browser))


def picture_of_talk(browser, name):
    """Without waiting until it stops changing: the level meter never does."""
    write(name, base64.b64decode(command(browser, "Page.captureScreenshot", format="png")["data"]))


def take_help(browser):
    browser.open(server.url.replace("https:", "http:") + "/")
    browser.wait_for(".address")
    picture(browser, "help.png")


def take_card(browser):
    """Both its pages, side by side, as a printer gets them."""
    browser.open(f"{server.url}/card#code={server.code}")
    browser.wait_for("#page-qr svg")
    printed = command(browser, "Page.printToPDF", preferCSSPageSize=True, **A4)["data"]
    pages = f"{own_network.WORK}/card"
    subprocess.run(["pdftoppm", "-r", "60", "-png", "-", pages], input=base64.b64decode(printed), check=True)
    beside = ["-bordercolor", "#888", "-border", "1", "+append", "png:-"]
    both = subprocess.run(["convert", f"{pages}-1.png", f"{pages}-2.png", *beside], capture_output=True, check=True)
    write("join-card.png", both.stdout)


def take_way_in(browser):
    browser.open(server.url)
    browser.wait_for("#code")
    browser.run("document.activeElement.blur()")  # a blinking caret would differ
    picture(browser, "code.png")
    browser.enter_code(server.code)
    browser.wait_for_text("#roles", lambda text: "1 connected" in text, "that the lighting is there")
    picture(browser, "roles.png")


def take_desk(browser, other):
    browser.choose_role("Stage Manager")
    browser.wait_until_on_air()
    other.tap("Tech")
    browser.tap("Main")
    wait_until(lambda: "Lighting" in browser.who_talks("Tech"), "that the lighting is seen to talk")
    picture_of_talk(browser, "crew.png")
    browser.tap("Main")
    browser.press("#menu-open")
    browser.wait_for("#menu-close")
    picture(browser, "menu.png")
    browser.press("#menu-close")


def take_signals(browser):
    """A call and a light, and the same in the wings view once they are answered."""
    server.send_osc("/wingbell/standby/Main", "s", "LX 12")
    server.send_osc("/wingbell/go/Backstage", "s", "Fly 3")
    browser.wait_for_text("#signal-text", lambda text: "STANDBY" in text, "the light")
    picture_of_talk(browser, "cue-light.png")
    answer_all(browser)
    browser.press("#menu-open")
    browser.press("#wings")
    browser.press("#menu-close")
    server.send_osc("/wingbell/go/Backstage", "s", "Fly 3")
    browser.wait_for("#signal")
    answer_all(browser)
    picture_of_talk(browser, "wings.png")
    server.send_osc("/wingbell/clear")
    browser.press("#menu-open")
    browser.press("#wings")
    browser.press("#menu-close")


def answer_all(browser):
    """Taps until nothing waits; a signal that has just appeared takes no tap."""

    def answered():
        if browser.shown("#signal"):
            browser.press("#signal")
        return not browser.shown("#signal")

    wait_until(answered, "that nothing waits")


def take_desks_page(browser, other):
    look_like(browser, {"width": 1280, "height": 800, "deviceScaleFactor": 1, "mobile": False})
    browser.open(server.desk_page())
    browser.wait_for_text("#role-list", lambda text: "Keys closed" in text, "that the lighting is shown")
    other.tap("Tech")
    browser.find("#light-text").send_keys("LX 12")
    browser.press("#signal-rows > li:nth-child(1) [data-signal=standby]")
    browser.wait_for_text("#signal-rows", lambda text: "Standby LX 12" in text, "that the light is shown")
    browser.wait_for_text("#open-now", lambda text: "Lighting" in text, "that the open key is shown")
    picture_of_talk(browser, "desk-page.png")
    look_like(browser, PHONE)


def take_lost(browser):
    server.kill()
    browser.wait_for_text("#connection-state", lambda text: text.startswith("Connection lost"), "that the connection is lost")
    picture(browser, "lost.png")


keep_code(CODE)
server = Server(program, show_with(CHANNELS, ROLES, name="Fall Recital"))
manager = CrewBrowser("manager", tone=1000)
lighting = CrewBrowser("lighting", tone=2000)
try:
    assert server.code == CODE, f"the code is {server.code}"
    look_like(manager, PHONE)
    take_help(manager)
    take_card(manager)
    lighting.join(server.url, server.code, "Lighting")
    manager.run("localStorage.clear()")
    take_desks_page(manager, lighting)
    lighting.tap("Tech")
    server.send_osc("/wingbell/clear")
    manager.run("localStorage.clear()")
    take_way_in(manager)
    take_desk(manager, lighting)
    take_signals(manager)
    take_lost(manager)
finally:
    manager.close()
    lighting.close()
