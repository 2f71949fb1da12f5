"""jv_info_test.py JV [sanitized]: `jv info` as people and scripts use it."""

import json
import os
import subprocess
import sys
import unittest

JV = os.path.abspath(sys.argv.pop(1))
if "sanitized" in sys.argv:
    sys.argv.remove("sanitized")
BOUND = 60  # seconds, for whatever ought to end by itself
NOWHERE = {"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/no/such/bus", "DBUS_SESSION_BUS_ADDRESS": "unix:path=/no/such/bus",
           "HOME": "/no/such/home", "PATH": "/usr/bin:/bin"}


def info(*arguments, **options):
    return subprocess.run([JV, "info", *arguments], capture_output=True, timeout=BOUND, check=False, **options)


class Info(unittest.TestCase):
    def test_says_the_same_to_people_and_machines(self):
        people, machines = info(env=NOWHERE), info("--json", env=NOWHERE)
        for result in (people, machines):
            self.assertEqual((result.returncode, result.stderr), (0, b""))
        facts = [line for line in map(json.loads, machines.stdout.splitlines()) if "fact" in line]
        lines = people.stdout.decode().splitlines()
        self.assertEqual([line["fact"] for line in facts], [line.partition(":")[0] for line in lines[:len(facts)]])
        for fact, line in zip(facts, lines):
            self.assertIn(f"({fact['origin']})" if fact["origin"] else "(fixed: nobody could tell)", line)

    def test_has_fixed_values_without_anybody_to_ask(self):
        facts = {line["fact"]: line for line in map(json.loads, info("--json", env=NOWHERE).stdout.splitlines())
                 if "fact" in line}
        self.assertEqual(facts["user e-mail"], {"fact": "user e-mail", "value": None, "origin": None})
        self.assertEqual(facts["idle seconds"], {"fact": "idle seconds", "value": None, "origin": None})
        self.assertRegex(facts["system version"]["value"], r"^[0-9]+\.[0-9]+\.[0-9]+$")
        self.assertEqual(facts["at least 11.0.0"]["value"], int(facts["system version"]["value"].split(".")[0]) >= 11)
        self.assertTrue(facts["system description"]["value"].startswith(f"macOS {facts['system']['value']} "))

    def test_usage(self):
        self.assertEqual(info("--no-such-option").returncode, 2)
        self.assertEqual(info("extra").returncode, 2)
        self.assertIn(b"--json", info("--help").stdout)

    def test_output_that_nobody_takes(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([JV, "info"], stdout=full, stderr=subprocess.PIPE, timeout=BOUND, check=False)
        self.assertEqual(result.returncode, 3)
        self.assertIn(b"No space", result.stderr)


unittest.main()
