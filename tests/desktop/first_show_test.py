"""A first show: from a new machine to a show on air and off again."""

import json
import os
import signal

import desk
from desk import Desk, SHOW_FILE, wait_until

desk.real_folder_is_private()
window = Desk()

# Nothing starts and nothing is written by itself.
wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
assert not desk.children_of(window.process.pid)
assert not os.path.exists("/Users/Shared/Wingbell")

# Without a show on disk the server says what is missing and ends.
window.press("Intercom server")
window.see_line("▶︎ Starting server with /Users/Shared/Wingbell/roles.json…")
window.see_line(SHOW_FILE)
window.see_line("■ Server exited (status 1).")
wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
assert not os.path.exists("/Users/Shared/Wingbell")

# Saving writes the default show.
window.press("Save Show")
wait_until(lambda: window.has("Saved ✓"), "the button to say that it saved")
with open(SHOW_FILE, encoding="utf-8") as file:
    show = json.load(file)
assert list(show) == ["show", "channels", "roles", "oscPort"], show
assert show["oscPort"] == 47000 and len(show["roles"]) == 6
wait_until(lambda: window.has("Save Show"), "the button to be itself again")

# On air.
window.press("Intercom server")
wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
assert len(desk.children_of(window.process.pid)) == 1
assert "▶︎ Starting server with " in window.console()[0], window.console()

desk.send_osc(47000, "/wingbell/say", "Places, please")
window.see_line("Places, please")
desk.send_osc(47000, "/wingbell/say/Green%20Room", "Five minutes")
window.see_line("Five minutes", "Green Room")
desk.send_osc(47000, "/wingbell/say/Roof", "Anyone?")
window.see_line("Roof")

# And off again.
window.press("Intercom server")
window.see_line("■ Stopping…")
window.see_line("■ Server stopped.")
wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
wait_until(lambda: not desk.children_of(window.process.pid), "the server to be gone")

# Closing the window does not end the show.
window.press("Intercom server")
wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
(server,) = desk.children_of(window.process.pid)
words = window.close()
assert desk.alive(server), "the server went with the window"
desk.send_osc(47000, "/wingbell/say", "still here")
os.kill(server, signal.SIGTERM)
wait_until(lambda: not desk.alive(server), "the server to end on the terminate signal")

assert "qrc:" not in words and "Binding loop" not in words, words
print("1 passed, 0 failed")
