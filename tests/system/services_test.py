"""services_test.py JV: `jv info` and `jv listen` with the desktop's services on private buses."""

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
        self.system = self.bus("system")
        self.session = self.bus("session")

    def bus(self, kind):
        bus = Bus(kind, self.folder)
        self.addCleanup(bus.stop)
        return bus

    def update(self, session, properties):
        self.system.mock(LOGIN, f"/org/freedesktop/login1/session/{session}").UpdateProperties(SESSION, properties)

    def activate(self, session, *states):
        for active in states:
            self.update(session, {"Active": active})

    def expect_told_once(self, listening):
        self.assertEqual(listening.next(), ACTIVE)
        self.assertEqual(listening.waiting(), [])

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

    def test_name_and_address_of_the_account(self):
        self.system.serve_accounts("Ada Lovelace", "ada@example.org")
        found = facts()
        self.assertEqual(found["user name"], ("Ada Lovelace", "accounts service"))
        self.assertEqual(found["user e-mail"], ("ada@example.org", "accounts service"))

    def test_the_own_card_where_the_account_has_no_address(self):
        self.system.serve_accounts("", "")
        self.assertEqual(facts()["user e-mail"], (None, None))
        card = pathlib.Path(self.folder, ".config/JorvaneFoundation/me.vcf")
        card.parent.mkdir(parents=True)
        card.write_text("BEGIN:VCARD\nEMAIL:a@example.org\nEMAIL;PREF=1:b@example.org\nEND:VCARD\n", encoding="utf-8")
        self.assertEqual(facts()["user e-mail"], ("b@example.org", "the user's own card"))

    def test_nothing_waits_for_services_that_are_silent_or_gone(self):
        def quick_facts():
            start = time.monotonic()
            found = facts()
            self.assertLess(time.monotonic() - start, 10)
            return found

        fixed = quick_facts()
        for name in (ACCOUNTS, LOGIN):
            self.system.serve(name, "/", "org.example.Nothing")
            self.system.wait_for(name)
        self.assertEqual(quick_facts(), fixed, "services without the objects")
        for service in self.system.services:
            service.send_signal(signal.SIGSTOP)
        self.assertEqual(quick_facts(), fixed, "services that are silent")
        self.system.daemon.send_signal(signal.SIGSTOP)
        self.assertEqual(quick_facts(), fixed, "a bus that lets nobody in")
        self.system.daemon.send_signal(signal.SIGCONT)
        self.system.stop()
        self.assertEqual(quick_facts(), fixed, "no bus")
        self.system.start()

    def test_idle_time_of_the_compositor(self):
        name = "org.gnome.Mutter.IdleMonitor"
        path = "/org/gnome/Mutter/IdleMonitor/Core"
        self.session.serve(name, path, name)
        self.session.wait_for(name)
        self.session.mock(name, path).AddMethod(name, "GetIdletime", "", "t", "ret = dbus.UInt64(5000000)")
        self.assertEqual(facts()["idle seconds"], (None, None), "not in a session of Wayland")
        for variable, value in (("WAYLAND_DISPLAY", "wayland-0"), ("XDG_SESSION_TYPE", "wayland")):
            os.environ[variable] = value
            self.addCleanup(os.environ.pop, variable, None)
            self.assertEqual(facts()["idle seconds"], (5000.0, "compositor's idle monitor"))
            del os.environ[variable]

    def test_idle_hint_of_the_session(self):
        self.system.serve_login(("c1", MINE))
        os.environ["XDG_SESSION_ID"] = "c1"
        self.addCleanup(os.environ.pop, "XDG_SESSION_ID")
        moment = dbus.UInt64(time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000 - 100_000_000)
        self.update("c1", {"IdleHint": False, "IdleSinceHintMonotonic": moment})
        self.assertEqual(facts()["idle seconds"], (None, None), "not idle: the moment is that of the last input")
        self.update("c1", {"IdleHint": True, "IdleSinceHintMonotonic": moment})
        value, origin = facts()["idle seconds"]
        self.assertEqual(origin, "session manager's idle hint")
        self.assertGreaterEqual(value, 100)
        self.assertLess(value, 200)

    def test_switches_of_the_own_session_are_told(self):
        self.system.serve_login(("c1", OTHER), ("c2", MINE))
        user = self.system.connection.get_object(LOGIN, f"/org/freedesktop/login1/user/{MINE}")
        user.Set(LOGIN + ".User", "Display", dbus.Struct(("c2", dbus.ObjectPath("/org/freedesktop/login1/session/c2"))),
                 dbus_interface="org.freedesktop.DBus.Properties")
        for why, variable in (("named by the environment", "c2"), ("the user's, since the name is another's", "c1"),
                              ("the user's", None)):
            with self.subTest(why):
                environment = {**os.environ, **({"XDG_SESSION_ID": variable} if variable else {})}
                with Listening(JV, env=environment) as listening:
                    self.join(listening, "c2")
                    self.activate("c1", False, True)
                    self.activate("c2", False)
                    self.update("c2", {"LockedHint": True})
                    self.activate("c2", True, True, False, True)
                    self.assertEqual(listening.next(), ACTIVE)
                    self.expect_told_once(listening)

    def test_a_bus_whose_folder_comes_later_is_joined(self):
        self.system.stop()
        folder = os.path.join(self.folder, "run", "later", "dbus")
        environment = {**os.environ, "XDG_SESSION_ID": "c1", "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={folder}/system"}
        with Listening(JV, env=environment) as listening:
            os.makedirs(folder)
            self.system = Bus("system", folder)
            self.addCleanup(self.system.stop)
            self.system.serve_login(("c1", MINE))
            self.join(listening, "c1")

    def test_what_others_say_of_the_session_counts_for_nothing(self):
        self.system.serve_login(("c1", MINE))

        def forge(listener, active):
            signal = dbus.lowlevel.SignalMessage("/org/freedesktop/login1/session/c1", "org.freedesktop.DBus.Properties",
                                                 "PropertiesChanged")
            signal.set_destination(listener)
            signal.append(SESSION, {"Active": active}, [], signature="sa{sv}as")
            self.system.connection.send_message(signal)

        with Listening(JV, env={**os.environ, "XDG_SESSION_ID": "c1"}) as listening:
            self.join(listening, "c1")
            listeners = self.system.names_of(listening.process.pid)
            self.assertTrue(listeners)
            for listener in listeners:
                for active in (False, True, False, True):
                    forge(listener, active)
            self.activate("c1", False, True)
            self.expect_told_once(listening)
            self.activate("c1", False)
            for listener in listeners:
                forge(listener, True)
            self.activate("c1", True)
            self.expect_told_once(listening)

    def test_services_and_buses_that_come_later_and_go_are_joined_again(self):
        self.system.stop()
        environment = {**os.environ, "XDG_SESSION_ID": "c1"}
        with Listening(JV, env=environment) as listening:
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
