""""Reveal in Finder" with real file managers, launched by the session's bus: the nearest useful thing is shown."""

import os
import shutil
import signal
import subprocess
import tempfile

import gi

import desk
from desk import Atspi, wait_until
from own_bus import OwnBus

FOLDER = os.path.dirname(desk.SHOW_FILE)
XFCE_SETTINGS = "org.xfce.Xfconf"
SHOW = {"show": "Recital", "channels": ["Main"], "roles": []}


class FileManager:
    """A file manager: the services that launch it, and how it reports what it shows."""

    def __init__(self, name, services, title):
        self.name = name
        self.services = services
        self.title = title

    def title_of(self, folder):
        return self.title.format(os.path.basename(folder))


NEMO = FileManager("nemo", ["nemo", "nemo.FileManager1"], "{}")
THUNAR = FileManager(
    "thunar",
    ["org.xfce.Thunar", "org.xfce.Thunar.FileManager1", "org.xfce.FileManager", XFCE_SETTINGS],
    "{} - Thunar",
)


class Session:
    """A session whose bus launches those services. Folders open in Thunar by default, where `opener` is true."""

    def __init__(self, services, opener=True):
        self.home = tempfile.mkdtemp()
        os.mkdir(self.home + "/.config")
        with open(self.home + "/.config/mimeapps.list", "w", encoding="utf-8") as file:
            file.write("[Default Applications]\ninode/directory=thunar.desktop\n")
        own = {"HOME": self.home, "GSETTINGS_BACKEND": "memory"}
        self.bus = OwnBus(services, own)
        self.environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=self.bus.address, **own)
        if not opener:
            self.environment["PATH"] = "/nonexistent"
        self.hanging = None

    def hang(self):
        """Puts a file manager on the bus that never replies."""
        self.hanging = subprocess.Popen(
            ["/usr/bin/python3", "/tests/fixtures/bus_service.py", "--bus", self.bus.address,
             "file-manager", "--behaviour", "hang"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
        )  # fmt: skip
        assert self.hanging.stdout.readline() == "ready\n"

    def close(self):
        if self.hanging is not None:
            self.hanging.kill()
            self.hanging.communicate()
        for pid in file_managers():
            os.kill(pid, signal.SIGKILL)
            wait_until(lambda pid=pid: not desk.alive(pid), "the file manager to end")
        self.bus.close()
        shutil.rmtree(self.home)


def file_managers():
    """The processes of the running file managers."""
    running = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            program = os.path.basename(os.readlink(f"/proc/{pid}/exe"))
        except OSError:
            continue  # gone, or not ours
        if program in ("nemo", "thunar"):
            running.append(int(pid))
    return running


def accessibles(root):
    yield root
    for index in range(root.get_child_count()):
        child = root.get_child_at_index(index)
        if child is not None:
            yield from accessibles(child)


def shown(manager):
    """What that file manager shows on the screen: the title of each window and dialogue, and its status."""
    windows = []
    desktop = Atspi.get_desktop(0)
    try:
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application is None or application.get_name().lower() != manager.name:
                continue
            application.clear_cache()
            for number in range(application.get_child_count()):
                window = application.get_child_at_index(number)
                if desk.has_state(window, Atspi.StateType.SHOWING):
                    status = [node.get_name() for node in accessibles(window) if node.get_role_name() == "status bar"]
                    windows.append((window.get_role_name(), window.get_name(), " ".join(status)))
    except (gi.repository.GLib.Error, AttributeError):
        return None  # something appeared or disappeared meanwhile
    return windows


def see_folder(manager, folder, selected=None):
    """Waits for exactly one window that shows the folder, with that file selected, or none."""
    title = manager.title_of(folder)

    def seen():
        windows = shown(manager) or []
        if [window[:2] for window in windows] != [("frame", title)]:
            return False
        status = windows[0][2]
        return status != "" and status.startswith(f'"{selected}"') if selected else status.startswith(("0 ", "1 "))

    wait_until(seen, f"{manager.name} on {folder} with {selected}; it shows {shown(manager)}")


def in_session(services, **options):
    """Runs a test in a session of its own with those services."""

    def with_session(test):
        test.session = lambda: Session(services, **options)
        return test

    return with_session


def reveal(window):
    window.press("Reveal in Finder")


def with_file_manager(manager):
    """The tests with a file manager that works."""

    @in_session(manager.services)
    def the_file_is_selected_in_its_folder(window, _session):
        reveal(window)
        see_folder(manager, FOLDER, "roles.json")

    @in_session(manager.services)
    def the_folder_is_shown_where_there_is_no_file(window, _session):
        os.remove(desk.SHOW_FILE)
        with open(FOLDER + "/another.txt", "w", encoding="utf-8"):
            pass
        reveal(window)
        see_folder(manager, FOLDER)

    @in_session(manager.services)
    def the_nearest_folder_is_shown_where_there_is_none(window, _session):
        shutil.rmtree(FOLDER)
        reveal(window)
        see_folder(manager, os.path.dirname(FOLDER))

    tests = (
        the_file_is_selected_in_its_folder,
        the_folder_is_shown_where_there_is_no_file,
        the_nearest_folder_is_shown_where_there_is_none,
    )
    for test in tests:
        test.__name__ += "_by_" + manager.name
    return tests


@in_session([XFCE_SETTINGS])
def without_a_file_manager_on_the_bus_the_default_one_is_opened(window, _session):
    reveal(window)
    see_folder(THUNAR, FOLDER)


@in_session([XFCE_SETTINGS])
def a_file_manager_that_hangs_is_done_without(window, session):
    session.hang()
    reveal(window)
    assert "ShowItems" in session.hanging.stdout.readline()
    assert window.save() is not None  # the window stays usable meanwhile
    see_folder(THUNAR, FOLDER)


@in_session([], opener=False)
def without_any_means_the_window_goes_on(window, _session):
    reveal(window)
    assert window.save() is not None
    reveal(window)
    wait_until(lambda: not desk.children_of(window.process.pid), "nothing to be left of it")
    assert not file_managers() and window.process.poll() is None


@in_session([XFCE_SETTINGS])
def without_a_bus_the_default_one_is_opened(window, session):
    session.bus.kill()
    reveal(window)
    see_folder(THUNAR, FOLDER)


desk.run(
    *with_file_manager(NEMO),
    *with_file_manager(THUNAR),
    without_a_file_manager_on_the_bus_the_default_one_is_opened,
    a_file_manager_that_hangs_is_done_without,
    without_a_bus_the_default_one_is_opened,
    without_any_means_the_window_goes_on,
    show=SHOW,
)
