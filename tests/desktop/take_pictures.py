"""Takes the pictures of the window into /output."""

import subprocess

import desk
from desk import Desk, wait_until


def picture(window, name):
    """Takes the window's picture once it no longer changes."""

    def shot():
        return subprocess.run(
            ["import", "-window", window.window, "-strip", "png:-"], capture_output=True, check=True
        ).stdout

    shots = [shot()]

    def settled():
        shots.append(shot())
        return shots[-1] == shots[-2]

    wait_until(settled, "the window to stand still")
    with open("/output/" + name, "wb") as file:
        file.write(shots[-1])


desk.real_folder_is_private()
desk.os.umask(0o022)
silent = Desk(desk.program_with_silent_server())
silent.wait_for_input()
picture(silent, "stopped.png")
silent.press("Intercom server")
wait_until(lambda: silent.has("STARTING"), "the lamp to say STARTING")
silent.see_line("▶︎ Starting server with ")
picture(silent, "starting.png")
desk.end_servers(silent)
silent.close()

show = Desk()
show.press("Save Show")
wait_until(lambda: show.has("Saved ✓"), "the save")
wait_until(lambda: show.has("Save Show"), "the button to be itself again")
show.press("Intercom server")
wait_until(lambda: show.has("ON AIR"), "the lamp to say ON AIR")
for address, text in (
    ("/wingbell/say", "Half an hour, please"),
    ("/wingbell/say/Green%20Room", "Beginners to the stage"),
    ("/wingbell/say/Tech", "Stand by, cue one"),
):
    desk.send_osc(47000, address, text)
    show.see_line(text)
picture(show, "window.png")

lighting = show.find("Lighting")
show.press("Backstage", within=show.find("TALKS ON", within=lighting))
wait_until(lambda: show.find(role=desk.Atspi.Role.ALERT), "the warning")
picture(show, "warning.png")
desk.end_servers(show)
show.see_line("■ Server stopped.")
show.close()
