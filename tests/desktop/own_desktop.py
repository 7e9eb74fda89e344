"""A desktop of a test's own: its buses, and on them the real services that keep a computer awake."""

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
SUSPENDING, IDLENESS = 4, 8  # the latter would keep the display lit
MATE_HOLDS = [(PROGRAM, REASON, SUSPENDING)]
LOGIN_HOLDS = [("sleep", PROGRAM, REASON, "block")]
SHOW = {
    "show": "Recital",
    "channels": ["Main"],
    "roles": [{"name": "Stage Manager", "talk": [], "listen": ["Main"]}],
    "oscPort": 47123,
}


class OwnDesktop:
    """A session bus and a system bus, and on them what the desktop of the test has."""

    def __init__(self):
        self.bus = OwnBus(["org.xfce.Xfconf"], self._environment("disabled:", "disabled:"))
        self.system = OwnBus()
        self.environment = self._environment(self.bus.address, self.system.address)
        self.services = []

    def _environment(self, session, system):
        """As the programs of the desktop have it."""
        return dict(
            os.environ,
            DBUS_SESSION_BUS_ADDRESS=session,
            DBUS_SYSTEM_BUS_ADDRESS=system,
            GSETTINGS_BACKEND="memory",
            XDG_CONFIG_DIRS="/nonexistent",  # what the machine starts with a session is no part of this
        )

    def run(self, bus, name, *command):
        service = Service(command, bus, name, self.environment)
        self.services.append(service)
        return service

    def mate(self):
        return self.run(self.bus, "org.gnome.SessionManager", "mate-session", "--disable-acceleration-check")

    def xfce(self):
        return self.run(self.bus, "org.freedesktop.PowerManagement", "xfce4-power-manager", "--no-daemon")

    def xfce_is_to_suspend_when_idle_for_a_minute(self):
        for setting, value in (("inactivity-on-ac", "1"), ("inactivity-sleep-mode-on-ac", "1")):
            subprocess.run(
                ["xfconf-query", "--channel", "xfce4-power-manager", "--property", "/xfce4-power-manager/" + setting,
                 "--create", "--type", "uint", "--set", value],
                env=self.environment, check=True,
            )  # fmt: skip

    def login_manager(self):
        os.makedirs("/run/systemd/seats", exist_ok=True)  # by which XFCE tells that there is one
        return self.run(
            self.system, "org.freedesktop.login1", "/usr/bin/python3", "-m", "dbusmock", "--template", "logind"
        )

    def close(self):
        for service in self.services:
            service.kill()
        for bus in (self.bus, self.system):
            bus.close()

    # What the services say.

    def _of_session_manager(self, method, arguments=None, path="/org/gnome/SessionManager"):
        interface = "org.gnome.SessionManager" + ("" if path == "/org/gnome/SessionManager" else ".Inhibitor")
        return self.bus.ask("org.gnome.SessionManager", path, interface, method, arguments)

    def mate_inhibitors(self):
        """Who holds something back, why and what, as the session manager lists it; None without one."""
        paths = self._of_session_manager("GetInhibitors")
        if paths is None:
            return None
        return [
            tuple(self._of_session_manager(method, path=path) for method in ("GetAppId", "GetReason", "GetFlags"))
            for path in paths
        ]

    def mate_holds_back(self, what):
        return self._of_session_manager("IsInhibited", GLib.Variant("(u)", (what,)))

    def xfce_holds_back(self):
        """Whether anybody holds back something. For the last question of a test: XFCE's power manager (4.18.1) takes
        harm when it is asked while somebody does, and ends soon after."""
        return self.bus.ask(
            "org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
            "org.freedesktop.PowerManagement.Inhibit", "HasInhibit",
        )  # fmt: skip

    def xfce_has_handled_its_events(self):
        """Asks XFCE's power manager something that it answers in its turn."""
        self.bus.call("org.xfce.PowerManager", "/org/xfce/PowerManager", "org.xfce.Power.Manager", "GetConfig")

    @staticmethod
    def display_may_sleep():
        """Whether the X server is to blank the screen some time. XFCE's power manager forbids it while it is held."""
        library = ctypes.CDLL("libX11.so.6")
        library.XOpenDisplay.restype = ctypes.c_void_p
        display = ctypes.c_void_p(library.XOpenDisplay(None))
        timeout, unused = ctypes.c_int(), [ctypes.c_int() for _ in range(3)]
        library.XGetScreenSaver(display, *map(ctypes.byref, [timeout, *unused]))
        library.XCloseDisplay(display)
        return timeout.value > 0

    def login_inhibitors(self):
        """What, who, why and how, of ours, as long as the descriptor that was given is open somewhere."""
        listed = self.system.ask(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "ListInhibitors"
        )
        return None if listed is None else [entry[:4] for entry in listed if entry[1] == PROGRAM]

    def suspend_requests(self):
        """The calls by which the login manager was asked to suspend the computer."""
        return self.system.ask(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock", "GetMethodCalls",
            GLib.Variant("(s)", ("Suspend",)),
        )  # fmt: skip


def see(question, answer):
    """Waits for that answer to the question."""
    wait_until(lambda: question() == answer, f"{question.__name__}: {answer}; it is {question()}")


def go_on_air(window):
    """Starts the server; gives back its process."""
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
    """By its own button, as one closes a window."""
    desk.click(window.find("Close"))
    assert window.process.wait(desk.TIMEOUT) == 0


def end(server):
    os.kill(server, signal.SIGTERM)
    wait_until(lambda: not desk.alive(server), "the server to end")
