"""jv_usage_test.py JV [sanitized]: what no command understands, and the forms of `jv info` and `jv listen`; what those
know and tell is tested with other components around them."""

import json
import shlex
import signal

from support import BOUND, JV, NOWHERE, NO_BUS, ToolTest, jv, main
from listening import Listening

ALONE = {**NO_BUS, "HOME": "/no/such/home", "PATH": "/usr/bin:/bin"}
BAD = {
    "": ["", "no-such-command"],
    "encoding": ["", "--no-such-option a", "-j -1 a", "- --files-from -"],
    "font": ["'DejaVu Sans'", "'DejaVu Sans' nan", "'DejaVu Sans' 1e7", "'DejaVu Sans' 12 --variant heavy"],
    "info": ["extra"],
    "keychain": ["", "list", "get --host h --user u --service s --account a", "get --host h",
                 "get --host h --user u --protocol http", "status --passphrase-fd 3",
                 "save --service s --account a password-as-argument",
                 "save --service s --account a --vault /no/such/folder/vault --passphrase-fd 0"],
    "listen": ["extra"],
    "run": ["", "--input a --input-file b true"],
    "screens": [f"--at '{at}'" for at in ("", "1,", "1,2,3", "a,b", "nan,1", "0x10,1", "1 ,2", "1e999,0")],
    "text-size": ["text", "--width inf --json text", "--width 9 --size 1e308 text",
                  *(f"--width 9 --paragraph-spacing={spacing} text" for spacing in ("-1", "nan", "''"))],
    "watch": ["", "--json --exec true /", "-0 /"],
}


class Usage(ToolTest):
    def test_what_is_not_understood(self):
        for command, lines in BAD.items():
            for line in lines:
                with self.subTest(command, line=line):
                    result = jv(*shlex.split(f"{command} {line}"), env=NOWHERE)
                    self.assertEqual((result.returncode, result.stdout), (2, b""))
                    self.assertNotEqual(result.stderr, b"")

    def test_output_that_nobody_takes(self):
        for arguments in ["info"], ["run", "--", "echo", "text"]:
            self.expect_complaint_when_nobody_reads(*arguments, env=NOWHERE)

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


main()
