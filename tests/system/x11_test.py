"""x11_test.py JV: the idle time of a private X server."""

import os
import unittest

from support import facts, main
from namespaces import skip
from processes import Missing
from x_server import XServer

ALONE = {name: value for name, value in os.environ.items()
         if name not in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE")}
ALONE.update(dict.fromkeys(("DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"), "unix:path=/no/such/bus"))


class IdleTime(unittest.TestCase):
    def idle(self, **variables):
        return facts(env={**ALONE, **variables})["idle seconds"]

    def answered(self):
        """The answer of a server that has a tenth of a second to give it, on a machine that may be busy."""
        for _ in range(100):
            idle, origin = self.idle(**server.environment)
            if origin:
                return idle, origin
        self.fail("the server never answered in time")

    def test_grows_while_nobody_touches_anything(self):
        first, origin = self.answered()
        self.assertEqual(origin, "X server")
        second, _ = self.answered()
        self.assertGreater(second, first)
        self.assertLess(second, 3600)

    def test_is_nobodys_where_it_sees_too_little_or_is_not_there(self):
        for why, variables in (("under Wayland", {**server.environment, "WAYLAND_DISPLAY": "wayland-0"}),
                               ("a session of Wayland", {**server.environment, "XDG_SESSION_TYPE": "wayland"}),
                               ("no such server", {"DISPLAY": ":4242"}), ("no name of one", {"DISPLAY": "nonsense"}),
                               ("none", {})):
            self.assertEqual(self.idle(**variables), (None, None), why)


try:
    with XServer(size="800x600") as server:
        main()
except Missing as missing:
    skip(missing)
