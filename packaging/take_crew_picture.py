"""Takes the picture of the crew's page for the README: SERVER PICTURE."""

import os
import sys

FIXTURES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "fixtures")
sys.path.insert(0, FIXTURES)

import own_network  # pylint: disable=wrong-import-position

own_network.enter()

# Only inside: they bring threads, and what begins a namespace must have none.
from crew_browser import CrewBrowser  # pylint: disable=wrong-import-position
from on_air import Server, show_with, wait_until  # pylint: disable=wrong-import-position

CHANNELS = ["Main", "Tech", "Backstage", "Green Room"]
ROLES = {
    "Stage Manager": (CHANNELS[:3], CHANNELS),
    "Lighting": (["Tech"], ["Main", "Tech"]),
}

program, picture = sys.argv[1:3]
server = Server(program, show_with(CHANNELS, ROLES))
manager = CrewBrowser("manager", tone=1000)
lighting = CrewBrowser("lighting", tone=2000)
try:
    manager.driver.execute_cdp_cmd(
        "Emulation.setDeviceMetricsOverride", {"width": 390, "height": 844, "deviceScaleFactor": 2, "mobile": True}
    )
    manager.join(server.url, server.code, "Stage Manager")
    lighting.join(server.url, server.code, "Lighting")
    lighting.tap("Tech")
    manager.tap("Main")
    wait_until(lambda: "Lighting" in manager.who_talks("Tech"), "that the lighting is seen to talk")
    manager.driver.save_screenshot(picture)
finally:
    manager.close()
    lighting.close()
server.stop()
