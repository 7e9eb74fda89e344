"""A session bus that takes connections and never answers delays neither the window nor a show."""

import os
import signal
import socket
import subprocess

import desk
from desk import PROGRAM, SHOW_FILE, wait_until

desk.real_folder_is_private()
address = "/tmp/hanging-bus"
listener = socket.socket(socket.AF_UNIX)
listener.bind(address)
listener.listen(16)

os.makedirs(os.path.dirname(SHOW_FILE))
with open(SHOW_FILE, "w", encoding="utf-8") as file:
    file.write('{"show": "S", "channels": [], "roles": []}')

environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=f"unix:path={address}")
process = subprocess.Popen([PROGRAM], env=environment)


def window():
    found = subprocess.run(
        ["xdotool", "search", "--onlyvisible", "--pid", str(process.pid)], capture_output=True, text=True, check=False
    )
    return found.stdout.split()[-1:]


# The toolkit alone would take 25 seconds a try.
(identifier,) = wait_until(window, "the window", timeout=15)


def server():
    # A press before the window takes input is lost; one that was taken shows within a moment.
    subprocess.run(["xdotool", "mousemove", "--window", identifier, "165", "208", "click", "1"], check=True)
    try:
        return wait_until(lambda: desk.children_of(process.pid), "a server", timeout=3)
    except AssertionError:
        return None


(child,) = wait_until(server, "the server started by the switch", timeout=15)
process.terminate()
process.wait()
os.kill(child, signal.SIGTERM)
wait_until(lambda: not desk.alive(child), "the server to end")
print("1 passed, 0 failed")
