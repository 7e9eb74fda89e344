"""Drives the control window as a person with a screen reader would: over the accessibility bus."""

import os
import subprocess
import time
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

warnings.simplefilter("ignore", DeprecationWarning)

PROGRAM = "/opt/wingbell/bin/WingbellControl"
SHOW_FILE = "/Users/Shared/Wingbell/roles.json"
PATIENCE = 20.0  # seconds until a condition that never comes is called a failure


def wait_until(condition, what, patience=PATIENCE):
    """The first true result of `condition`, polled until then."""
    deadline = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"never happened: {what}")
        time.sleep(0.02)


class Desk:
    """The running control window."""

    def __init__(self):
        self.process = subprocess.Popen([PROGRAM], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.application = wait_until(self._find_application, "the window on the accessibility bus")
        wait_until(lambda: self.find(name="Save Show"), "the panels")

    def _find_application(self):
        if self.process.poll() is not None:
            raise AssertionError("the window ended: " + self.process.stdout.read().decode())
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            try:
                if child is not None and child.get_process_id() == self.process.pid:
                    return child
            except gi.repository.GLib.Error:
                pass
        return None

    def nodes(self, root=None):
        """Every accessible of the window, top to bottom."""
        pending = [root or self.application]
        while pending:
            node = pending.pop(0)
            try:
                node.clear_cache()
                children = [node.get_child_at_index(i) for i in range(node.get_child_count())]
            except gi.repository.GLib.Error:
                continue  # it went while it was looked at
            yield node
            pending = [child for child in children if child is not None] + pending

    def find(self, name=None, role=None):
        for node in self.nodes():
            try:
                if name is not None and node.get_name() != name:
                    continue
                if role is not None and node.get_role() != role:
                    continue
            except gi.repository.GLib.Error:
                continue
            return node
        return None

    def has(self, name):
        return self.find(name=name) is not None

    def press(self, name):
        node = wait_until(lambda: self.find(name=name), name)
        for index in range(node.get_n_actions()):
            if node.get_action_name(index) in ("Press", "Toggle"):
                assert node.do_action(index), f"{name}: the action was refused"
                return
        raise AssertionError(f"{name} cannot be pressed")

    def console(self):
        """The console's lines as a screen reader gets them."""
        console = wait_until(lambda: self.find(name="Console"), "the console")
        return [node.get_name() for node in self.nodes(console) if node.get_name() != "Console"]

    def see_line(self, *parts):
        """Waits for a console line that holds all `parts`."""

        def seen():
            return [line for line in self.console() if all(part in line for part in parts)]

        return wait_until(seen, f"the line {parts} in {self.console()}")[0]

    def close(self):
        self.process.terminate()
        self.process.wait()
        return self.process.stdout.read().decode()


def send_osc(port, address, text):
    """Sends a message by another OSC implementation than the server's."""
    subprocess.run(
        ["/usr/bin/perl", "/tests/fixtures/send_osc.pl", "127.0.0.1", str(port), "message", address, "s", text],
        check=True,
    )


def children_of(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
        return [int(child) for child in file.read().split()]


def alive(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as file:
            return file.read().rsplit(")", 1)[1].split()[0] not in "ZX"
    except FileNotFoundError:
        return False


def real_folder_is_private():
    """No test may run on the machine's own show folder."""
    assert os.getpid() < 1000 and not os.path.exists(SHOW_FILE), "this is no private root"
