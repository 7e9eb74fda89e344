"""Private message buses with real services, separate from the bus over which the test drives the window."""

import os
import shutil
import subprocess
import tempfile

from gi.repository import Gio, GLib

from desk import wait_until

CONFIGURATION = """<busconfig>
  <type>session</type>
  <listen>unix:path={folder}/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{folder}/services</servicedir>
  <policy context="default">
    <allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/>
  </policy>
</busconfig>
"""


ACCESSIBILITY = """<node>
  <interface name="org.a11y.Bus"><method name="GetAddress"><arg type="s" direction="out"/></method></interface>
  <interface name="org.a11y.Status">
    <property name="IsEnabled" type="b" access="read"/>
    <property name="ScreenReaderEnabled" type="b" access="read"/>
  </interface>
</node>"""


def accessibility_address():
    """The address of the accessibility bus over which the test drives the window."""
    session = Gio.bus_get_sync(Gio.BusType.SESSION)
    return session.call_sync(
        "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None, Gio.DBusCallFlags.NONE, -1
    ).unpack()[0]


class OwnBus:
    """A private message bus that can launch only these services, named after their service files."""

    def __init__(self, launchable=(), environment=None):
        self.folder = tempfile.mkdtemp()
        services = os.path.join(self.folder, "services")
        os.mkdir(services)
        for service in launchable:
            shutil.copy(f"/usr/share/dbus-1/services/{service}.service", services)
        configuration = os.path.join(self.folder, "bus.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(CONFIGURATION.format(folder=self.folder))
        self.address = f"unix:path={self.folder}/bus"
        self.process = subprocess.Popen(
            ["dbus-daemon", "--nofork", "--print-address=1", "--config-file=" + configuration],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=dict(os.environ, **(environment or {})),
        )  # fmt: skip
        assert self.process.stdout.readline(), "the bus does not run"  # printed once it listens
        self._connection = Gio.DBusConnection.new_for_address_sync(
            self.address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
        )

        self._offer_accessibility_bus()

    def _offer_accessibility_bus(self):
        """Gives programs on this bus the address of the existing accessibility bus."""

        def address(*call):
            call[-1].return_value(GLib.Variant("(s)", (accessibility_address(),)))

        for interface in Gio.DBusNodeInfo.new_for_xml(ACCESSIBILITY).interfaces:
            self._connection.register_object(
                "/org/a11y/bus", interface, address, lambda *_property: GLib.Variant("b", True), None
            )
        Gio.bus_own_name_on_connection(self._connection, "org.a11y.Bus", Gio.BusNameOwnerFlags.NONE, None, None)

    def call(self, service, path, interface, method, arguments=None):
        """The values that the service returns. Launches nothing; raises errors."""
        reply = self._connection.call_sync(
            service, path, interface, method, arguments, None, Gio.DBusCallFlags.NO_AUTO_START, 10_000
        )
        return reply.unpack()

    def ask(self, service, path, interface, method, arguments=None):
        """The single value that the service returns; None without a reply."""
        try:
            return self.call(service, path, interface, method, arguments)[0]
        except GLib.Error:
            return None

    def owner_of(self, name):
        return self.ask(
            "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner", GLib.Variant("(s)", (name,))
        )

    def kill(self):
        """Kills the bus; its services and clients lose their connections."""
        self.process.kill()
        self.process.wait()

    def close(self):
        self.kill()
        self.process.stdout.close()
        shutil.rmtree(self.folder)


class Service:
    """A real service, started as its desktop starts it."""

    def __init__(self, command, bus, name, environment):
        self.command, self.bus, self.name = command, bus, name
        self.environment = environment
        self.process = None
        self.start()

    def start(self):
        """Returns when the service owns its name."""
        self.process = subprocess.Popen(
            self.command, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )  # fmt: skip
        wait_until(lambda: self.bus.owner_of(self.name) and self.runs(), f"{self.command[0]} on its bus")

    def runs(self):
        return self.process.poll() is None

    def kill(self):
        """Kills the service, as in a crash. A session manager that is asked to end may first wait for others."""
        self.process.kill()
        self.process.wait()
