"""Private buses, and services on them that answer what a test tells them."""

import os
import shutil
import subprocess
import sys

from listening import eventually
from namespaces import skip
from processes import start_bus

DEBIAN = "/usr/bin/python3"

try:
    import dbus
    import dbusmock  # noqa: F401  started as a program below
except ImportError as missing:
    # Debian's packages are there for Debian's interpreter alone.
    if os.path.exists(DEBIAN) and not os.path.samefile(DEBIAN, sys.executable):
        os.execv(DEBIAN, [DEBIAN, "-B", *sys.argv])
    skip(f"no {missing.name}")
if not shutil.which("dbus-daemon"):
    skip("no dbus-daemon")

MOCK = "org.freedesktop.DBus.Mock"
ACCOUNTS = "org.freedesktop.Accounts"
LOGIN = "org.freedesktop.login1"


class Bus:
    """A bus of the kind "system" or "session" with its socket in @folder. Its address goes into the environment."""

    def __init__(self, kind, folder):
        self.kind, self.folder = kind, folder
        self.services = []
        self.start()
        os.environ[f"DBUS_{kind.upper()}_BUS_ADDRESS"] = self.address

    def start(self):
        self.daemon, self.address = start_bus(self.kind, self.folder)
        self.connection = dbus.bus.BusConnection(self.address)

    def serve(self, *arguments):
        """Starts a service with the arguments of dbusmock."""
        service = subprocess.Popen([sys.executable, "-m", "dbusmock", f"--{self.kind}", *arguments],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.services.append(service)
        return service

    def wait_for(self, name, there=True):
        eventually(lambda: self.connection.name_has_owner(name) == there)

    def names_of(self, process):
        """The unique names of the connections of a process."""
        daemon = self.connection.get_object("org.freedesktop.DBus", "/org/freedesktop/DBus")
        names = [name for name in self.connection.list_names() if name.startswith(":")]
        return [name for name in names
                if daemon.GetConnectionUnixProcessID(name, dbus_interface="org.freedesktop.DBus") == process]

    def mock(self, name, path):
        return dbus.Interface(self.connection.get_object(name, path), MOCK)

    def serve_accounts(self, name, email):
        """The accounts service, with this user."""
        self.serve(ACCOUNTS, "/org/freedesktop/Accounts", ACCOUNTS)
        self.wait_for(ACCOUNTS)
        mock = self.mock(ACCOUNTS, "/org/freedesktop/Accounts")
        mine = os.getuid()
        user = f"/org/freedesktop/Accounts/User{mine}"
        find = f"ret = dbus.ObjectPath('{user}' if args[0] == {mine} else '/')"
        mock.AddMethod(ACCOUNTS, "FindUserById", "x", "o", find)
        mock.AddObject(user, ACCOUNTS + ".User", {"RealName": name, "Email": email}, dbus.Array([], signature="(ssss)"))

    def serve_login(self, *sessions):
        """The session manager, with sessions as (identifier, user)."""
        self.serve("--template", "logind")
        self.wait_for(LOGIN)
        mock = self.mock(LOGIN, "/org/freedesktop/login1")
        manager = LOGIN + ".Manager"
        find = "ret = dbus.ObjectPath('/org/freedesktop/login1/user/%i' % args[0])"
        mock.AddMethod(manager, "GetUser", "u", "o", find)
        for name, user in sessions:
            path = mock.AddSession(name, "seat0", dbus.UInt32(user), "somebody", True)
            mock.EmitSignal(manager, "SessionNew", "so", [name, dbus.ObjectPath(path)])

    def stop(self):
        self.connection.close()
        for process in [*self.services, self.daemon]:
            process.kill()
            process.wait()
        self.daemon.stdout.close()
        self.services = []
