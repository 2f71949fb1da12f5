"""screens_x11.py PROBE: the screens of a real X server. Ends with 77 where none can be started."""

import os
import sys
import unittest

from screen_probe import CommonTests, Probe, skip_unless_it_runs
from old_randr import OldRandR
from x_server import XServer

PROBE = os.path.abspath(sys.argv.pop(1))


class X11(CommonTests, unittest.TestCase):
    program, first, library, module, others = PROBE, "A", "libxcb", "x11", {}
    start = XServer

    def restart(self, server):
        return XServer("1440x900+0+0", display=server.display)

    def test_monitors(self):
        for why, monitors, expected in [
            ("side by side, tops in line", ["1440x900+0+0", "1920x1080+1440+0"],
             [("A", 0, 0, 1440, 900, 1), ("B", 1440, -180, 1920, 1080, 1)]),
            ("around the primary one", ["1000x500+1000+1000", "800x600+200+700", "300x300+2000+1400", "100x100+1000+1500"],
             [("A", 0, 0, 1000, 500, 1), ("B", -800, 200, 800, 600, 1), ("C", 1000, -200, 300, 300, 1),
              ("D", 0, -100, 100, 100, 1)]),
        ]:
            with self.subTest(why), XServer(*monitors) as server, Probe(PROBE, server.environment) as probe:
                self.assertEqual(probe.list(), expected)
                self.assertEqual(probe.ask("at 1000000 -150"), expected[-1][0] if "side" in why else "C")

    def test_changes_are_seen_by_the_next_question(self):
        with XServer("1440x900+0+0", "1920x1080+1440+0") as server, Probe(PROBE, server.environment) as probe:
            self.assertEqual(len(probe.list()), 2)
            server.delete_monitor("B")
            self.assertEqual(probe.list(), [("A", 0, 0, 1440, 900, 1)])
            server.set_monitor("TV-1", "800x600+0+900")
            self.assertEqual(probe.list(), [("A", 0, 0, 1440, 900, 1), ("TV-1", 0, -600, 800, 600, 1)])
            self.assertEqual(probe.ask("at 10 -1"), "TV-1")
            server.delete_monitor("TV-1")
            server.set_monitor("C", "800x600+2000+900", primary=True)
            self.assertEqual(probe.list(), [("C", 0, 0, 800, 600, 1), ("A", -2000, 600, 1440, 900, 1)])

    def test_older_servers(self):
        with XServer(size="1280x1024", options=["-extension", "RANDR"]) as server:
            with Probe(PROBE, server.environment) as probe:
                self.assertEqual(probe.list(), [("", 0, 0, 1280, 1024, 1)])
        with XServer("800x600+0+0", "200x200+800+0", size="1280x1024") as server:
            for minor, expected in [
                (5, [("A", 0, 0, 800, 600, 1), ("B", 800, 400, 200, 200, 1)]),
                (3, [("screen", 0, 0, 1280, 1024, 1)]),  # the output that carries A
                (2, [("screen", 0, 0, 1280, 1024, 1)]),
                (1, [("", 0, 0, 1280, 1024, 1)]),
            ]:
                with self.subTest(minor=minor), OldRandR(server, minor) as old, Probe(PROBE, old.environment) as probe:
                    self.assertEqual(probe.list(), expected)

    def test_no_server(self):
        for environment, modules in [({}, []), ({"DISPLAY": ""}, []), ({"DISPLAY": ":9999"}, ["x11"]),
                                     ({"DISPLAY": "no display"}, ["x11"])]:
            with self.subTest(environment), Probe(PROBE, environment) as probe:
                self.assertEqual(probe.list(), [])
                self.assertEqual(probe.ask("at 10 10"), "none")
                self.assertEqual(probe.ask("modules").split(), modules)


skip_unless_it_runs(XServer())
unittest.main()
