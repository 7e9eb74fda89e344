"""Drives the control window as a screen reader does: over the accessibility bus."""

import faulthandler
import json
import os
import shutil
import subprocess
import sys
import time
import traceback
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

warnings.simplefilter("ignore", DeprecationWarning)

PROGRAM = "/opt/wingbell/bin/WingbellControl"
SHOW_FILE = "/Users/Shared/Wingbell/roles.json"
TIMEOUT = 20.0  # seconds
TEST_TIMEOUT = 6 * TIMEOUT  # then the test prints where it is stuck


def wait_until(condition, what, timeout=TIMEOUT):
    """Polls `condition` and returns its first true result; fails after `timeout` seconds."""
    deadline = time.monotonic() + timeout
    while True:
        while GLib.MainContext.default().iteration(False):
            pass  # handles events from the buses
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"timed out: {what}")
        time.sleep(0.02)


class Desk:
    """The running control window."""

    def __init__(self, program=PROGRAM, environment=None, ready="Save Show"):
        """Opens the window; `ready` is the name of something that appears with the panels."""
        self.process = subprocess.Popen(
            [program], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=environment
        )  # fmt: skip
        self.application = wait_until(self._find_application, "the window on the accessibility bus")
        # The console, the channels and the roles are lists.
        wait_until(lambda: self.find(name=ready) and len(self.lists()) == 3, "the panels")

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
        """All accessibles of the window, top to bottom."""
        pending = [root or self.application]
        while pending:
            node = pending.pop(0)
            try:
                node.clear_cache()
                children = [node.get_child_at_index(i) for i in range(node.get_child_count())]
            except gi.repository.GLib.Error:
                continue  # it has just disappeared
            yield node
            pending = [child for child in children if child is not None] + pending

    def find(self, name=None, role=None, within=None):
        for node in self.nodes(within):
            try:
                if name is not None and node.get_name() != name:
                    continue
                if role is not None and node.get_role() != role:
                    continue
            except gi.repository.GLib.Error:
                continue
            return node
        return None

    def see_tree(self, expected):
        """Waits until the accessibles have these roles and names; the panels appear one after the other."""

        def tree():
            return [(role_name(node), node.get_name()) for node in self.nodes()]

        try:
            wait_until(lambda: tree() == expected, "the tree")
        except AssertionError:
            assert tree() == expected, tree()

    def lists(self):
        """The lists of the window; the console is the first."""
        return [node for node in self.nodes() if role_of(node) == Atspi.Role.LIST]

    def has(self, name):
        return self.find(name=name) is not None

    def press(self, name, role=None, within=None):
        self.act(wait_until(lambda: self.find(name, role, within), name))

    @staticmethod
    def act(node, actions=("Press", "Toggle")):
        """Triggers the first of `actions` that the accessible offers."""
        for index in range(node.get_n_actions()):
            if node.get_action_name(index) in actions:
                assert node.do_action(index), f"{node.get_name()}: the action was refused"
                return
        raise AssertionError(f"{node.get_name()} cannot be pressed")

    def focused(self):
        """All accessibles that report the keyboard focus."""
        return [node for node in self.nodes() if has_state(node, Atspi.StateType.FOCUSED)]

    def wait_for_focus(self, name):
        """Waits until only the accessible with that name has the keyboard focus."""

        def there():
            found = self.focused()
            return found[0] if [node.get_name() for node in found] == [name] else None

        return wait_until(there, f"the focus on {name}; it is on {[node.get_name() for node in self.focused()]}")

    def text_of(self, name, within=None):
        """The text of the field with that name."""
        field = wait_until(lambda: self.find(name, Atspi.Role.TEXT, within), name)
        return Atspi.Text.get_text(field, 0, -1)

    def see_text(self, name, text, within=None):
        wait_until(lambda: self.text_of(name, within) == text, f"{text!r} in {name}: {self.text_of(name, within)!r}")

    def save(self):
        """Presses "Save Show" and returns the show in the file."""
        if os.path.exists(SHOW_FILE):
            os.remove(SHOW_FILE)
        self.act(wait_until(lambda: self.find("Save Show") or self.find("Saved ✓"), "the button to save"))
        wait_until(lambda: os.path.exists(SHOW_FILE) and os.path.getsize(SHOW_FILE), "the show's file")
        return wait_until(saved_show, "a show in the file")

    @property
    def window(self):
        """The window as the X server knows it."""
        found = subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)],
            capture_output=True, text=True, check=False,
        )  # fmt: skip
        windows = found.stdout.split()
        return windows[-1] if windows else None

    def wait_for_input(self):
        """Waits until the window receives keys; returns its identifier."""
        window = wait_until(lambda: self.window, "the window on the screen")
        wait_until(lambda: output_of("xdotool", "getactivewindow") == window, "the window to be active")
        return window

    def console(self):
        """The lines of the console as a screen reader gets them."""
        console = self.lists()[0]
        return [node.get_name() for node in list(self.nodes(console))[1:]]

    def see_line(self, *parts):
        """Waits for a console line that contains all `parts`."""

        def seen():
            return [line for line in self.console() if all(part in line for part in parts)]

        return wait_until(seen, f"the line {parts} in {self.console()}")[0]

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait()
        # A child that is left may hold the pipe open, so there may be no end of file.
        os.set_blocking(self.process.stdout.fileno(), False)
        return (self.process.stdout.read() or b"").decode()


class Events:
    """Records one kind of event of the accessibility bus."""

    def __init__(self, kind):
        self.kind = kind
        self.told = []
        self._listener = Atspi.EventListener.new(self._take)
        assert self._listener.register(kind)

    def _take(self, event):
        try:
            self.told.append((role_name(event.source), event.source.get_name(), event.detail1))
        except GLib.Error:
            pass  # it has already disappeared

    def wait_for(self, role, name, detail=None):
        def seen():
            return [told for told in self.told if told[:2] == (role, name) and detail in (None, told[2])]

        wait_until(seen, f"{self.kind} of {role} {name!r}; told was {self.told}")

    def close(self):
        self._listener.deregister(self.kind)


def role_name(node):
    """In the words of Debian 12; in 13 a push button is a button."""
    name = node.get_role_name()
    return "push button" if name == "button" else name


def role_of(node):
    try:
        return node.get_role()
    except GLib.Error:
        return None


def has_state(node, state):
    try:
        return node.get_state_set().contains(state)
    except GLib.Error:
        return False


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()


def xdotool(*arguments):
    subprocess.run(["xdotool", *[str(argument) for argument in arguments]], check=True)


def keys(*names):
    xdotool("key", "--clearmodifiers", *names)


def rest():
    """Pauses long enough that two presses are not a double click."""
    xdotool("sleep", 0.5)


def hold(name, seconds=1.5):
    """Holds a key long enough that the X server repeats it many times."""
    xdotool("keydown", name, "sleep", seconds, "keyup", name)


def type_text(text):
    xdotool("type", "--clearmodifiers", "--delay", "1", text)


def middle_of(node):
    """The centre of an accessible on the screen."""
    place = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    return place.x + place.width // 2, place.y + place.height // 2


def window_place(node):
    """Where the window of an accessible is, as its program has been told."""
    place, inside = (Atspi.Component.get_extents(node, kind) for kind in (Atspi.CoordType.SCREEN, Atspi.CoordType.WINDOW))
    return place.x - inside.x, place.y - inside.y


def is_inside(node, outer):
    """Whether all of an accessible lies within the height of another one."""
    place, room = (Atspi.Component.get_extents(item, Atspi.CoordType.SCREEN) for item in (node, outer))
    return room.y <= place.y and place.y + place.height <= room.y + room.height


def click(node, button=1):
    xdotool("mousemove", *middle_of(node), "click", button)


def write_show(show):
    os.makedirs(os.path.dirname(SHOW_FILE), exist_ok=True)
    with open(SHOW_FILE, "w", encoding="utf-8") as file:
        json.dump(show, file)


def saved_show():
    """The show in the file; None while there is no file or only a part of it."""
    try:
        with open(SHOW_FILE, encoding="utf-8") as file:
            return json.load(file)
    except (FileNotFoundError, json.JSONDecodeError):
        return None


def program_with_server(name, script):
    """The path of an installation whose server is that script."""
    root = f"/tmp/{name}"
    if not os.path.exists(root):
        shutil.copytree("/opt/wingbell", root)
        server = root + "/libexec/wingbell-control/IntercomServer"
        os.remove(server)
        with open(server, "w", encoding="utf-8") as file:
            file.write(script)
        os.chmod(server, 0o755)
    return root + "/bin/WingbellControl"


def program_with_silent_server():
    return program_with_server("silent", "#!/bin/sh\nexec sleep infinity\n")


def end_orphans():
    """Ends servers that outlived their windows and would keep the port."""
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            orphan = os.path.basename(os.readlink(f"/proc/{pid}/exe")) == "IntercomServer"
        except OSError:
            continue  # gone, or not ours
        if orphan:
            os.kill(int(pid), 15)
            wait_until(lambda pid=pid: not alive(pid), "the server to end")


def end_servers(window):
    for server in children_of(window.process.pid):
        os.kill(server, 15)
        wait_until(lambda pid=server: not alive(pid), "the server to end")


def on(program):
    """Decorator: runs the test with the program whose path `program` returns."""

    def mark(test):
        test.program = program
        return test

    return mark


def run(*tests, show=None, program=None, session=None, ready="Save Show"):
    """Runs each test with a new window that opens with `show`, and exits with the result.

    With `session`, or an attribute `session` of the test, the window runs in a new session: the result of `session`,
    whose `environment` the window gets and which is closed afterwards. Such a test takes the window and the session.
    An attribute `program` of the test returns the path of another program.
    """
    real_folder_is_private()
    failed = 0
    for test in tests:
        shutil.rmtree(os.path.dirname(SHOW_FILE), ignore_errors=True)
        if show is not None:
            write_show(show)
        xdotool("mouseup", 1, "mousemove", 0, 0)  # a menu that opens under the pointer would select an entry
        window = None
        own = None
        faulthandler.dump_traceback_later(TEST_TIMEOUT, exit=True)
        try:
            make = getattr(test, "session", session)
            own = make() if make else None
            path = getattr(test, "program", program)
            window = Desk(path() if path else PROGRAM, own.environment if own else None, ready)
            test(*([window, own] if own else [window]))
            words = window.close()
            assert "qrc:" not in words and "Binding loop" not in words, words
            print("ok", test.__name__, flush=True)
        except Exception:  # pylint: disable=broad-exception-caught
            failed += 1
            print("FAILED", test.__name__, flush=True)
            traceback.print_exc()
        finally:
            if window is not None and window.process.poll() is None:
                end_servers(window)
                window.close()
            end_orphans()
            if own is not None:
                own.close()
            faulthandler.cancel_dump_traceback_later()
    assert tests, "there are no tests"
    print(f"{len(tests) - failed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


def send_osc(port, address, text):
    """Sends a message with another OSC implementation than the server's."""
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
    except (FileNotFoundError, ProcessLookupError):  # gone before or while it is read
        return False


def real_folder_is_private():
    """No test may use the real show folder of this machine."""
    assert os.getpid() < 1000 and not os.path.exists(SHOW_FILE), "this is not a private root"
