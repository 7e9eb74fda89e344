"""A private desktop: its buses, and the real services that keep a computer awake."""

import contextlib
import ctypes
import os
import signal
import subprocess

from gi.repository import GLib

import desk
from desk import wait_until
from own_bus import OwnBus, Service

REASON = "Wingbell show is running"
PROGRAM = "WingbellControl"
SUSPENDING, IDLENESS = 4, 8  # the latter would keep the display on
MATE_HOLDS = [(PROGRAM, REASON, SUSPENDING)]
LOGIN_HOLDS = [("sleep", PROGRAM, REASON, "block")]
SHOW = {
    "show": "Recital",
    "channels": ["Main"],
    "roles": [{"name": "Stage Manager", "talk": [], "listen": ["Main"]}],
    "oscPort": 47123,
}


@contextlib.contextmanager
def x_server():
    """Xlib and its connection to the X server of the tests."""
    library = ctypes.CDLL("libX11.so.6")
    library.XOpenDisplay.restype = ctypes.c_void_p
    display = ctypes.c_void_p(library.XOpenDisplay(None))
    try:
        yield library, display
    finally:
        library.XCloseDisplay(display)


class OwnDesktop:
    """A session bus and a system bus with the services of the test's desktop."""

    def __init__(self):
        self.bus = OwnBus(["org.xfce.Xfconf"], self._environment("disabled:", "disabled:"))
        self.system = OwnBus()
        self.environment = self._environment(self.bus.address, self.system.address)
        self.services = []

    def _environment(self, session, system):
        """The environment of the programs on the desktop."""
        return dict(
            os.environ,
            DBUS_SESSION_BUS_ADDRESS=session,
            DBUS_SYSTEM_BUS_ADDRESS=system,
            GSETTINGS_BACKEND="memory",
            XDG_CONFIG_DIRS="/nonexistent",  # nothing that the machine starts with a session
        )

    def run(self, bus, name, *command):
        service = Service(command, bus, name, self.environment)
        self.services.append(service)
        return service

    def mate(self):
        return self.run(self.bus, "org.gnome.SessionManager", "mate-session", "--disable-acceleration-check")

    def xfce(self):
        # 4.20 takes what it finds for the user's setting, and the one of the test before may have been killed.
        with x_server() as (library, display):
            library.XSetScreenSaver(display, -1, -1, 2, 2)  # all of them the defaults
        return self.run(self.bus, "org.freedesktop.PowerManagement", "xfce4-power-manager", "--no-daemon")

    def xfce_is_to_suspend_when_idle_for_a_minute(self):
        for setting, kind, value in (
            ("inactivity-on-ac", "uint", "1"),
            ("inactivity-sleep-mode-on-ac", "uint", "1"),
            ("lock-screen-suspend-hibernate", "bool", "false"),  # 4.20 would ask what to do without a screen locker
        ):
            subprocess.run(
                ["xfconf-query", "--channel", "xfce4-power-manager", "--property", "/xfce4-power-manager/" + setting,
                 "--create", "--type", kind, "--set", value],
                env=self.environment, check=True,
            )  # fmt: skip

    def login_manager(self):
        os.makedirs("/run/systemd/seats", exist_ok=True)  # by which XFCE detects it
        return self.run(
            self.system, "org.freedesktop.login1", "/usr/bin/python3", "-m", "dbusmock", "--template", "logind"
        )

    def close(self):
        for service in self.services:
            service.kill()
        for bus in (self.bus, self.system):
            bus.close()

    # What the services report.

    def _of_session_manager(self, method, arguments=None, path="/org/gnome/SessionManager"):
        interface = "org.gnome.SessionManager" + ("" if path == "/org/gnome/SessionManager" else ".Inhibitor")
        return self.bus.ask("org.gnome.SessionManager", path, interface, method, arguments)

    def mate_inhibitors(self):
        """The inhibitors that the session manager lists: program, reason, flags. None without a session manager."""
        paths = self._of_session_manager("GetInhibitors")
        if paths is None:
            return None
        return [
            tuple(self._of_session_manager(method, path=path) for method in ("GetAppId", "GetReason", "GetFlags"))
            for path in paths
        ]

    def mate_inhibits(self, what):
        return self._of_session_manager("IsInhibited", GLib.Variant("(u)", (what,)))

    def xfce_inhibits(self):
        """Whether there is any inhibitor. Only as the last query of a test: XFCE's power manager (4.18.1) crashes soon
        after this query if there is one."""
        return self.bus.ask(
            "org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
            "org.freedesktop.PowerManagement.Inhibit", "HasInhibit",
        )  # fmt: skip

    def xfce_has_handled_its_events(self):
        """Calls a method of XFCE's power manager, which replies after it has handled earlier events."""
        self.bus.call("org.xfce.PowerManager", "/org/xfce/PowerManager", "org.xfce.Power.Manager", "GetConfig")

    @staticmethod
    def display_may_sleep():
        """Whether the X server will blank the screen. XFCE's power manager prevents it while it is inhibited."""
        timeout, unused = ctypes.c_int(), [ctypes.c_int() for _ in range(3)]
        with x_server() as (library, display):
            library.XGetScreenSaver(display, *map(ctypes.byref, [timeout, *unused]))
        return timeout.value > 0

    def login_inhibitors(self):
        """Our inhibitors (what, who, why, mode), as long as their file descriptor is open."""
        listed = self.system.ask(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "ListInhibitors"
        )
        return None if listed is None else [entry[:4] for entry in listed if entry[1] == PROGRAM]

    def suspend_requests(self):
        """The calls that asked the login manager to suspend the computer."""
        return self.system.ask(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock", "GetMethodCalls",
            GLib.Variant("(s)", ("Suspend",)),
        )  # fmt: skip


def see(query, expected):
    """Waits until `query` returns `expected`."""
    wait_until(lambda: query() == expected, f"{query.__name__}: {expected}; it is {query()}")


def go_on_air(window):
    """Starts the server; returns its process."""
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    (server,) = desk.children_of(window.process.pid)
    return server


def go_off_air(window):
    window.press("Intercom server")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")


def crash(window):
    window.process.kill()
    window.process.wait()


def close(window):
    """Closes the window with its own button."""
    desk.click(window.find("Close"))
    assert window.process.wait(desk.TIMEOUT) == 0


def end(server):
    os.kill(server, signal.SIGTERM)
    wait_until(lambda: not desk.alive(server), "the server to end")
