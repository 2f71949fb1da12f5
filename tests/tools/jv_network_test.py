"""jv_network_test.py JV [sanitized]: `jv listen` and `jv info` on a network and under names that change."""

import pathlib
import subprocess
import unittest

from support import JV, facts, main
from listening import Listening, eventually
from namespaces import enter, ip

enter()
ADDRESS = "JVIPAddressChanged"
NAME = "JVComputerNameChanged"


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
        eventually(lambda: facts()["IP address"][0] == "192.0.2.10")

    def far(self, switched):
        """Switches the other end of the cable."""
        ip(f"link set peer0 {switched}", inside=["nsenter", f"--net=/proc/{self.elsewhere.pid}/ns/net"])

    def test_each_change_is_told_once(self):
        steps = [
            ("the carrier goes", "down", "en0:127.0.0.1"),
            ("and comes back", "up", "en0:192.0.2.10"),
            ("a second address", "addr add 192.0.2.11/24 dev en0", None),
            ("the first one goes, and the second with it", "addr del 192.0.2.10/24 dev en0", "en0:127.0.0.1"),
            ("a new one, and another's", "addr add 192.0.2.12 peer 192.0.2.99 dev en0", "en0:192.0.2.12"),
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


class Names(unittest.TestCase):
    def test_each_change_is_told_once(self):
        info, static = pathlib.Path("/etc/machine-info"), pathlib.Path("/etc/hostname")
        static.write_text("start\n", encoding="utf-8")
        info.unlink(missing_ok=True)

        def name(text):
            subprocess.run(["hostname", text], check=True)

        kernel = "kernel's host name"
        steps = [
            (lambda: info.write_text("PRETTY_HOSTNAME=Box\n"), "Box", "/etc/machine-info"),
            (lambda: static.write_text("static\n"), None, None),
            (info.unlink, "static", "/etc/hostname"),
            (lambda: name("kernel1"), None, None),
            (static.unlink, "kernel1", kernel),
            (lambda: name("kernel2.example.org"), "kernel2", kernel),
            (lambda: name("localhost"), "Computer", None),
        ]
        with Listening(JV) as listening:
            for change, told, origin in steps:
                change()
                if told:
                    self.assertEqual(listening.next(), (NAME, told))
                    self.assertEqual(facts()["computer name"], (told, origin))
            self.assertEqual(listening.waiting(), [])


main()
