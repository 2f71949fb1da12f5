"""jv_screens_test.py JV [sanitized]: `jv screens` as people and scripts use it. Ends with 77 where no X server can be
started."""

import json
import os
import sys

from support import ToolTest, jv, main
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
""" + "\n".join(LINES) + "\n"


class Screens(ToolTest):
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("DISPLAY", "WAYLAND_DISPLAY", "LC_ALL", "LC_CTYPE", "LANG")}

    def run_jv(self, *arguments, locale="C.UTF-8"):
        result = jv("screens", *arguments, env={**self.environment, "LC_ALL": locale}, text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def test_lines(self):
        self.assertEqual(self.run_jv().splitlines(), LINES)
        objects = [json.loads(line) for line in self.run_jv("--json").splitlines()]
        self.assertEqual(objects[1], {"number": 2, "name": "B", "x": 1440, "y": -180, "width": 1920, "height": 1080,
                                      "scale": 1})
        self.assertEqual(self.run_jv("--at=-5e3,-1000").split(), [*LINES[2].split(), "nearest"])
        self.assertFalse(json.loads(self.run_jv("--json", "--at", "-5e3,-1000"))["inside"])

    def test_map(self):
        self.assertEqual(self.run_jv("--map"), MAP)
        marked = self.run_jv("--map", "--at", "200,-200", locale="C").splitlines()
        self.assertEqual((marked[0], marked[12]), ("+" + "-" * 29 + "+" + "-" * 40 + "+", "|400*400|"))

    def test_no_display(self):
        result = jv("screens", "--at", "1,1", env={"DISPLAY": ":no\x1b"})
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertIn(b"no display; WAYLAND_DISPLAY is not set; DISPLAY is $':no\\033'\n", result.stderr)
        self.expect_complaint_when_nobody_reads("screens", env=self.environment)

try:
    with XServer(*MONITORS) as server:
        Screens.environment.update(server.environment)
        main()
except Missing as missing:
    print(missing)
    sys.exit(77)
