"""jv_services_test.py JV [sanitized]: `jv info` and `jv listen` with the desktop's services on private buses, and an X
server."""

import os
import pathlib
import queue
import signal
import tempfile
import time
import unittest

from support import JV, facts, main
from buses import ACCOUNTS, LOGIN, Bus  # skips the test where there can be none
from listening import Listening, eventually
from processes import Missing
from x_server import XServer
import dbus
import dbus.lowlevel

for name in ("XDG_SESSION_ID", "XDG_SESSION_TYPE", "DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME"):
    os.environ.pop(name, None)

SESSION = LOGIN + ".Session"
ACTIVE = ("JVUserDidBecomeActive", "active")
MINE, OTHER = os.getuid(), os.getuid() + 1


class Services(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.environ["HOME"] = self.folder
        self.system, self.session = Bus("system", self.folder), Bus("session", self.folder)
        self.addCleanup(self.system.stop)
        self.addCleanup(self.session.stop)

    def update(self, session, properties):
        self.system.mock(LOGIN, f"/org/freedesktop/login1/session/{session}").UpdateProperties(SESSION, properties)

    def activate(self, session, *states):
        for active in states:
            self.update(session, {"Active": active})

    def join(self, listening, session):
        """Switches back and forth until it is heard, and takes what came of it."""
        def heard():
            self.activate(session, False, True)
            try:
                return listening.next(timeout=0.1) == ACTIVE
            except queue.Empty:
                return False
        eventually(heard)
        listening.waiting()

    def idle(self, **variables):
        return facts(env={**os.environ, **variables})["idle seconds"]

    def test_name_and_address_of_the_account_or_the_own_card(self):
        card = pathlib.Path(self.folder, ".config/JorvaneFoundation/me.vcf")
        card.parent.mkdir(parents=True)
        card.write_text("BEGIN:VCARD\nEMAIL:a@example.org\nEMAIL;PREF=1:b@example.org\nEND:VCARD\n", encoding="utf-8")
        self.assertEqual(facts()["user e-mail"], ("b@example.org", "the user's own card"))
        self.system.serve_accounts("Ada Lovelace", "ada@example.org")
        found = facts()
        self.assertEqual(found["user name"], ("Ada Lovelace", "accounts service"))
        self.assertEqual(found["user e-mail"], ("ada@example.org", "accounts service"))

    def test_nothing_waits_for_services_that_are_silent_or_gone(self):
        fixed = facts()
        for name in (ACCOUNTS, LOGIN):
            self.system.serve(name, "/", "org.example.Nothing")
            self.system.wait_for(name)
        silent = [(service, signal.SIGSTOP) for service in self.system.services]
        for why, signals in (("without the objects", []), ("services that are silent", silent),
                             ("a bus that lets nobody in", [(self.system.daemon, signal.SIGSTOP)]),
                             ("no bus", [(self.system.daemon, signal.SIGKILL)])):
            for process, number in signals:
                process.send_signal(number)
            start = time.monotonic()
            self.assertEqual(facts(), fixed, why)
            self.assertLess(time.monotonic() - start, 10)

    def test_idle_time(self):
        name, path = "org.gnome.Mutter.IdleMonitor", "/org/gnome/Mutter/IdleMonitor/Core"
        self.session.serve(name, path, name)
        self.session.wait_for(name)
        self.session.mock(name, path).AddMethod(name, "GetIdletime", "", "t", "ret = dbus.UInt64(5000000)")
        self.assertEqual(self.idle(), (None, None), "not in a session of Wayland")
        self.assertEqual(self.idle(WAYLAND_DISPLAY="wayland-0"), (5000.0, "compositor's idle monitor"))
        self.system.serve_login(("c1", MINE))
        moment = dbus.UInt64(time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000 - 100_000_000)
        self.update("c1", {"IdleHint": False, "IdleSinceHintMonotonic": moment})
        self.assertEqual(self.idle(XDG_SESSION_ID="c1"), (None, None), "the moment is that of the last input")
        self.update("c1", {"IdleHint": True, "IdleSinceHintMonotonic": moment})
        value, origin = self.idle(XDG_SESSION_ID="c1")
        self.assertTrue(100 <= value < 200 and origin == "session manager's idle hint", (value, origin))

    def test_idle_time_of_an_x_server(self):
        try:
            with XServer(size="800x600") as server:
                # It has a tenth of a second to answer, on a machine that may be busy.
                eventually(lambda: self.idle(**server.environment)[1] == "X server")
                self.assertEqual(self.idle(**server.environment, XDG_SESSION_TYPE="wayland"), (None, None),
                                 "it sees too little")
        except Missing as missing:
            self.skipTest(str(missing))

    def test_switches_of_the_own_session_are_told_by_the_manager_alone(self):
        self.system.serve_login(("c1", OTHER), ("c2", MINE))
        user = self.system.connection.get_object(LOGIN, f"/org/freedesktop/login1/user/{MINE}")
        user.Set(LOGIN + ".User", "Display", dbus.Struct(("c2", dbus.ObjectPath("/org/freedesktop/login1/session/c2"))),
                 dbus_interface="org.freedesktop.DBus.Properties")

        def forge(listening, active):
            for listener in self.system.names_of(listening.process.pid):
                signal_ = dbus.lowlevel.SignalMessage("/org/freedesktop/login1/session/c2",
                                                      "org.freedesktop.DBus.Properties", "PropertiesChanged")
                signal_.set_destination(listener)
                signal_.append(SESSION, {"Active": active}, [], signature="sa{sv}as")
                self.system.connection.send_message(signal_)

        # The session that the environment names is another user's; so it is the one that the manager has for the user.
        with Listening(JV, env={**os.environ, "XDG_SESSION_ID": "c1"}) as listening:
            self.join(listening, "c2")
            self.activate("c1", False, True)
            for active in (False, True):
                forge(listening, active)
            self.activate("c2", False)
            forge(listening, True)
            self.update("c2", {"LockedHint": True})
            self.activate("c2", True)
            self.assertEqual(listening.next(), ACTIVE)
            self.assertEqual(listening.waiting(), [], "once")

    def test_services_and_buses_that_come_later_and_go_are_joined_again(self):
        self.system.stop()
        self.system.folder = os.path.join(self.folder, "later")
        address = f"unix:path={self.system.folder}/system"
        environment = {**os.environ, "XDG_SESSION_ID": "c1", "DBUS_SYSTEM_BUS_ADDRESS": address}
        with Listening(JV, env=environment) as listening:
            os.mkdir(self.system.folder)
            os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = address
            for round_ in range(3):
                self.system.start()
                self.system.serve_login(("c1", MINE))
                self.join(listening, "c1")
                if round_ == 0:
                    before = listening.descriptors(), listening.threads()
                service = self.system.services.pop()
                service.kill()
                service.wait()
                self.system.wait_for(LOGIN, there=False)
                self.system.serve_login(("c1", MINE))
                self.join(listening, "c1")
                self.assertEqual((listening.descriptors(), listening.threads()), before)
                self.system.stop()
            self.system.start()


main()
