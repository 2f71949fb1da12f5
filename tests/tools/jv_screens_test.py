"""jv_screens_test.py JV [sanitized]: `jv screens` as people and scripts use it. Ends with 77 where no X server can be
started."""

import json
import os
import pty
import subprocess
import sys
import unittest

from support import ToolTest, jv
from processes import Missing
from x_server import XServer

# Two side by side with tops in line, and a narrow one below the first.
MONITORS = "1440x900+0+0", "1920x1080+1440+0", "400x400+0+900"
LINES = [
    "1  A  1440x900   at 0,0        scale 1",
    "2  B  1920x1080  at 1440,-180  scale 1",
    "3  C  400x400    at 0,-400     scale 1",
]
MAP = """\
┌─────────────────────────────┬────────────────────────────────────────┐
│                             │                                        │
│                             │                                        │
│                             │                                        │
│             1 A             │                                        │
│          1440x900           │                  2 B                   │
│                             │               1920x1080                │
│                             │                                        │
│                             │                                        │
│                             │                                        │
├───────┬─────────────────────┤                                        │
│  3 C  │                     └────────────────────────────────────────┘
│400x400│
│       │
└───────┘
"""


class Screens(ToolTest):
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("DISPLAY", "WAYLAND_DISPLAY", "LC_ALL", "LC_CTYPE", "LANG")}

    def run_jv(self, *arguments, stdout=subprocess.PIPE, **environment):
        return jv("screens", *arguments, stdout=stdout, text=True, env={**self.environment, **environment})

    def test_lines(self):
        result = self.run_jv()
        self.assertEqual((result.returncode, result.stdout.splitlines(), result.stderr), (0, LINES, ""))
        result = self.run_jv("--json")
        self.assertEqual([json.loads(line) for line in result.stdout.splitlines()][1],
                         {"number": 2, "name": "B", "x": 1440, "y": -180, "width": 1920, "height": 1080, "scale": 1})
        self.assertEqual((result.returncode, result.stdout.count("\n")), (0, 3))

    def test_point(self):
        for point, expected, inside in [("1440,10", LINES[1], True), ("1439.5,10", LINES[0], True),
                                        ("-5e3,-1000", LINES[2], False)]:
            for option in ["--at", point], ["--at=" + point]:
                with self.subTest(option):
                    words = expected.split() + ([] if inside else ["nearest"])
                    self.assertEqual(self.run_jv(*option).stdout.split(), words)
                    found = json.loads(self.run_jv("--json", *option).stdout)
                    self.assertEqual((str(found["number"]), found["inside"]), (words[0], inside))

    def test_map(self):
        self.assertEqual(self.run_jv("--map", LC_ALL="C.UTF-8").stdout, MAP + "\n".join(LINES) + "\n")
        ascii_map = self.run_jv("--map", LC_ALL="C").stdout
        for line, ascii_line in zip(MAP.splitlines(), ascii_map.splitlines()):
            self.assertEqual("".join({"│": "|", "─": "-"}.get(c, c if c < "\x80" else "+") for c in line), ascii_line)
        marked = self.run_jv("--map", "--at", "200,-200", LC_ALL="C.UTF-8").stdout
        self.assertEqual([(line.index("*"), row) for row, line in enumerate(marked.splitlines()) if "*" in line],
                         [(4, 12)])

    def test_terminal(self):
        ours, theirs = pty.openpty()
        try:
            self.assertEqual(self.run_jv(stdout=theirs, LC_ALL="C.UTF-8").returncode, 0)
            shown = b""
            while shown.count(b"\n") < len((MAP + "\n".join(LINES)).splitlines()):
                shown += os.read(ours, 4096)
        finally:
            os.close(ours)
            os.close(theirs)
        self.assertEqual(shown.decode().replace("\r", ""), MAP + "\n".join(LINES) + "\n")

    def test_without_names(self):
        with XServer(size="1280x1024", options=["-extension", "RANDR"]) as old:
            result = self.run_jv("--map", LC_ALL="C.UTF-8", **old.environment)
        lines = result.stdout.splitlines()
        self.assertEqual(lines.pop(), "1  -  1280x1024  at 0,0  scale 1")
        self.assertIn(" 1 ", lines[len(lines) // 2 - 1])
        self.assertIn(" 1280x1024 ", lines[len(lines) // 2])

    def test_no_display(self):
        result = jv("screens", "--at", "1,1", env={"DISPLAY": ":no\x1b"})
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertIn(b"no display; WAYLAND_DISPLAY is not set; DISPLAY is $':no\\033'\n", result.stderr)

    def test_output_that_nobody_takes(self):
        self.expect_complaint_when_nobody_reads("screens", env=self.environment)


try:
    with XServer(*MONITORS) as server:
        Screens.environment.update(server.environment)
        unittest.main()
except Missing as missing:
    print(missing)
    sys.exit(77)
