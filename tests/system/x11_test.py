"""x11_test.py JV: the idle time of a private X server."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from namespaces import skip  # noqa: E402

JV = os.path.abspath(sys.argv.pop(1))
if "sanitized" in sys.argv:
    sys.argv.remove("sanitized")
if not shutil.which("Xvfb"):
    skip("no Xvfb")


def idle(**variables):
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE")}
    environment["DBUS_SYSTEM_BUS_ADDRESS"] = environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/no/such/bus"
    output = subprocess.run([JV, "info", "--json"], capture_output=True, env={**environment, **variables}, timeout=60,
                            check=True).stdout
    return next((line["value"], line["origin"]) for line in map(json.loads, output.splitlines())
                if line.get("fact") == "idle seconds")


class XServer(unittest.TestCase):
    def setUp(self):
        reader, writer = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-nolisten", "tcp", "-noreset"],
                                       pass_fds=[writer], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.server.wait)
        self.addCleanup(self.server.kill)
        os.close(writer)
        with os.fdopen(reader) as number:
            self.display = ":" + number.readline().strip()

    def test_grows_while_nobody_touches_anything(self):
        first, origin = idle(DISPLAY=self.display)
        self.assertEqual(origin, "X server")
        second, _ = idle(DISPLAY=self.display)
        self.assertGreater(second, first)
        self.assertLess(second, 3600)

    def test_is_nobodys_where_it_sees_too_little_or_is_not_there(self):
        for why, variables in (("under Wayland", {"DISPLAY": self.display, "WAYLAND_DISPLAY": "wayland-0"}),
                               ("a session of Wayland", {"DISPLAY": self.display, "XDG_SESSION_TYPE": "wayland"}),
                               ("no such server", {"DISPLAY": ":4242"}), ("no name of one", {"DISPLAY": "nonsense"}),
                               ("none", {})):
            self.assertEqual(idle(**variables), (None, None), why)


unittest.main()
