"""jv_system_test.py JV [sanitized]: the forms of `jv info` and the end of `jv listen`; what they know and tell is tested
in tests/system."""

import json
import signal
import unittest

from support import BOUND, JV, NO_BUS, jv
from listening import Listening

ALONE = {**NO_BUS, "HOME": "/no/such/home", "PATH": "/usr/bin:/bin"}


class System(unittest.TestCase):
    def test_info_says_the_same_to_people_and_machines(self):
        people, machines = jv("info", env=ALONE), jv("info", "--json", env=ALONE)
        self.assertEqual((people.returncode, people.stderr, machines.returncode, machines.stderr), (0, b"", 0, b""))
        for line, text in zip(people.stdout.decode().splitlines(), machines.stdout.splitlines(), strict=True):
            fact = json.loads(text)
            if "fact" in fact:
                self.assertTrue(line.startswith(fact["fact"] + ": "), line)
                self.assertIn(f"({fact['origin']})" if fact["origin"] else "(fixed: nobody could tell)", line)
            if fact.get("fact") == "idle seconds":
                self.assertEqual((fact["value"], line), (None, "idle seconds: none (fixed: nobody could tell)"))
            if fact.get("fact") == "system description":
                self.assertRegex(fact["value"], r"^macOS \S.* (x86_64|\(unknown architecture\))$")

    def test_listen_ends_well_when_it_is_interrupted(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with Listening(JV) as listening:
                self.assertEqual(listening.ready, "jv listen: waiting for changes\n")
                listening.process.send_signal(number)
                self.assertEqual(listening.process.wait(BOUND), 0)


unittest.main()
