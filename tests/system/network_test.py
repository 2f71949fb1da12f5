"""network_test.py JV: `jv listen` and `jv info` on a network and under names that change."""

import json
import pathlib
import subprocess
import unittest

from support import JV, SANITIZED, facts, main
from listening import Listening, eventually
from namespaces import enter, ip

enter()
ADDRESS = "JVIPAddressChanged"
NAME = "JVComputerNameChanged"


def state():
    found = facts()
    return f"{found['network interface'][0]}:{found['IP address'][0]}"


def operational(interface):
    found = subprocess.run(["ip", "-json", "link", "show", interface], capture_output=True, check=True).stdout
    return json.loads(found)[0]["operstate"] == "UP"


class Network(unittest.TestCase):
    def setUp(self):
        # A cable to a network elsewhere.
        self.elsewhere = subprocess.Popen(["unshare", "--net", "sh", "-c", "echo; exec sleep 600"], stdout=subprocess.PIPE)
        self.addCleanup(self.elsewhere.stdout.close)
        self.addCleanup(self.elsewhere.wait)
        self.addCleanup(self.elsewhere.kill)
        self.elsewhere.stdout.readline()
        ip("link add en0 type veth peer name peer0", f"link set peer0 netns {self.elsewhere.pid}", "link set en0 up",
           "addr add 192.0.2.10/24 dev en0")
        self.addCleanup(ip, "link del en0")
        self.far("up")
        eventually(lambda: operational("en0"))

    def far(self, *states):
        """Switches the other end of the cable, from one state to the next."""
        ip(*[f"link set peer0 {state}" for state in states], inside=["nsenter", f"--net=/proc/{self.elsewhere.pid}/ns/net"])

    def test_the_active_interface_with_the_lowest_index(self):
        self.assertEqual(state(), "en0:192.0.2.10")
        ip("link add br0 index 5 type bridge", "link set br0 up", "addr add 192.0.2.30/24 dev br0")
        self.addCleanup(subprocess.run, ["ip", "link", "del", "br0"], check=True)
        ip("link add bp0 index 3 type veth peer name bp1 index 30", "link set bp1 up", "link set bp0 master br0 up")
        self.assertEqual(state(), "br0:192.0.2.30", "the ports of a bridge do not count")
        ip("link del bp0", "link set br0 down", "link set en0 down")
        self.assertEqual(state(), "en0:127.0.0.1", "nothing is active")

    def test_the_address_that_others_reach(self):
        ip("addr flush dev en0")
        self.assertEqual(state(), "en0:127.0.0.1")
        ip("addr add 169.254.7.7/16 dev en0", "addr add 192.0.2.10/24 dev en0", "addr add 192.0.2.11/24 dev en0")
        self.assertEqual(state(), "en0:192.0.2.10")
        ip("addr flush dev en0", "addr add 192.0.2.10 peer 192.0.2.99 dev en0")
        self.assertEqual(state(), "en0:192.0.2.10", "not the other end's")

    def test_each_change_is_told_once(self):
        steps = [
            ("the carrier goes", "down", "en0:127.0.0.1"),
            ("and comes back", "up", "en0:192.0.2.10"),
            ("a second address", "addr add 192.0.2.11/24 dev en0", None),
            ("the first one goes, and the second with it", "addr del 192.0.2.10/24 dev en0", "en0:127.0.0.1"),
            ("a new one", "addr add 192.0.2.12/24 dev en0", "en0:192.0.2.12"),
            ("an address of the other family", "addr add 2001:db8::1/64 dev en0", None),
            ("a virtual interface behind it", "link add later type veth peer name later2", None),
            ("it goes", "link del later", None),
            ("switched off", "link set en0 down", "en0:127.0.0.1"),
            ("renamed", "link set en0 name other0", None),
            ("switched on", "link set other0 up", "other0:192.0.2.12"),
            ("renamed while up", "link set other0 name en0", "en0:192.0.2.12"),
        ]
        with Listening(JV) as listening:
            ip("addr add 192.0.2.200/32 dev lo")
            self.addCleanup(ip, "addr del 192.0.2.200/32 dev lo")
            self.assertEqual(listening.next(), (ADDRESS, "en0:192.0.2.10"), "the first change, whatever it is")
            for why, change, told in steps:
                ip(change) if " " in change else self.far(change)
                if told:
                    self.assertEqual(listening.next(), (ADDRESS, told), why)
            self.assertEqual(listening.waiting(), [])

    def test_a_thousand_flaps(self):
        with Listening(JV) as listening:
            for state_, told in (("down", "en0:127.0.0.1"), ("up", "en0:192.0.2.10")):
                self.far(state_)
                self.assertEqual(listening.next(), (ADDRESS, told))
            before = listening.descriptors(), listening.threads()
            memory = listening.memory()
            self.far(*["down", "up"] * 1000)
            ip("addr flush dev en0", "addr add 192.0.2.99/24 dev en0")
            told = [listening.next()[1]]
            while told[-1] != "en0:192.0.2.99":
                told.append(listening.next()[1])
            for one, next_one in zip(told, told[1:]):
                self.assertNotEqual(one, next_one, "told twice")
            self.assertEqual(listening.waiting(), [])
            self.assertEqual((listening.descriptors(), listening.threads()), before)
            if not SANITIZED:
                self.assertEqual(listening.threads(), 1)
                self.assertLess(listening.memory(), memory + 1024)


class Names(unittest.TestCase):
    def test_each_change_is_told_once(self):
        info, static = pathlib.Path("/etc/machine-info"), pathlib.Path("/etc/hostname")
        static.write_text("start\n", encoding="utf-8")
        info.unlink(missing_ok=True)

        def replace(path, text):
            temporary = path.with_name(".#" + path.name)
            temporary.write_text(text, encoding="utf-8")
            temporary.rename(path)

        def name(text):
            subprocess.run(["hostname", text], check=True)

        kernel = "kernel's host name"
        steps = [
            ("a name for people", lambda: replace(info, 'PRETTY_HOSTNAME="Renée\'s Box"\n'), "Renée's Box",
             "/etc/machine-info"),
            ("the host name behind it", lambda: replace(static, "static\n"), None, None),
            ("something else in the file", lambda: replace(info, 'CHASSIS=laptop\nPRETTY_HOSTNAME="Renée\'s Box"\n'),
             None, None),
            ("taken back", info.unlink, "static", "/etc/hostname"),
            ("written in place", lambda: static.write_text("other\n", encoding="utf-8"), "other", "/etc/hostname"),
            ("the kernel's behind it", lambda: name("kernel1"), None, None),
            ("no host name", static.unlink, "kernel1", kernel),
            ("the kernel's", lambda: name("kernel2.example.org"), "kernel2", kernel),
            ("again", lambda: name("kernel3"), "kernel3", kernel),
            ("one that says nothing", lambda: name("localhost"), "Computer", None),
        ]
        with Listening(JV) as listening:
            for why, change, told, origin in steps:
                change()
                if told:
                    self.assertEqual(listening.next(), (NAME, told), why)
                    self.assertEqual(facts()["computer name"], (told, origin), why)
            self.assertEqual(listening.waiting(), [])


main()
