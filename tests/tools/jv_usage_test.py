"""jv_usage_test.py JV [sanitized]: what no command understands, and what none can print."""

import shlex
import unittest

from support import NOWHERE, ToolTest, jv

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

    def test_version(self):
        self.assertRegex(jv("--version").stdout, rb"^jv 1\.0\.0\n$")


unittest.main()
