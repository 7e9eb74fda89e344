"""Takes the pictures of the window into /output."""

import subprocess

import desk
from desk import Desk, wait_until

desk.real_folder_is_private()
window = Desk()


def picture(name):
    identifier = subprocess.check_output(
        ["xdotool", "search", "--onlyvisible", "--pid", str(window.process.pid)], text=True
    ).split()[-1]
    subprocess.run(["import", "-window", identifier, "-strip", "/output/" + name], check=True)


window.press("Save Show")
wait_until(lambda: window.has("Saved ✓"), "the save")
wait_until(lambda: window.has("Save Show"), "the button to be itself again")
window.press("Intercom server")
wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
for address, text in (
    ("/wingbell/say", "Half an hour, please"),
    ("/wingbell/say/Green%20Room", "Beginners to the stage"),
    ("/wingbell/say/Tech", "Stand by, cue one"),
):
    desk.send_osc(47000, address, text)
    window.see_line(text)
picture("window.png")
window.press("Intercom server")
window.see_line("■ Server stopped.")
window.close()
