"""jv_info_test.py JV [sanitized]: `jv info` as people and scripts use it."""

import json
import unittest

from support import NO_BUS, jv

ALONE = {**NO_BUS, "HOME": "/no/such/home", "PATH": "/usr/bin:/bin"}


class Info(unittest.TestCase):
    def facts(self):
        """What `jv info` says to machines, without what it says of modules."""
        result = jv("info", "--json", env=ALONE)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        return [line for line in map(json.loads, result.stdout.splitlines()) if "fact" in line]

    def test_says_the_same_to_people_and_machines(self):
        people = jv("info", env=ALONE)
        self.assertEqual((people.returncode, people.stderr), (0, b""))
        facts, lines = self.facts(), people.stdout.decode().splitlines()
        self.assertEqual([line["fact"] for line in facts], [line.partition(":")[0] for line in lines[:len(facts)]])
        for fact, line in zip(facts, lines):
            self.assertIn(f"({fact['origin']})" if fact["origin"] else "(fixed: nobody could tell)", line)

    def test_has_fixed_values_without_anybody_to_ask(self):
        facts = {line["fact"]: line for line in self.facts()}
        for name in "user e-mail", "idle seconds":
            self.assertEqual(facts[name], {"fact": name, "value": None, "origin": None})
        self.assertRegex(facts["system version"]["value"], r"^[0-9]+\.[0-9]+\.[0-9]+$")
        self.assertEqual(facts["at least 11.0.0"]["value"], int(facts["system version"]["value"].split(".")[0]) >= 11)
        self.assertTrue(facts["system description"]["value"].startswith(f"macOS {facts['system']['value']} "))


unittest.main()
