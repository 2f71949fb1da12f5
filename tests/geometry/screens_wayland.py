"""screens_wayland.py PROBE: the screens of a real Wayland compositor. Ends with 77 where none can be started."""

import contextlib
import os
import pathlib
import socket
import sys
import tempfile
import unittest

from screen_probe import CommonTests, Probe, skip_unless_it_runs
from wayland_compositor import WaylandCompositor
from wayland_filter import WaylandFilter

PROBE = os.path.abspath(sys.argv.pop(1))
ONE, TWO = "HEADLESS-1", "HEADLESS-2"


class Wayland(CommonTests, unittest.TestCase):
    program, first, library, module = PROBE, ONE, "libwayland", "wayland"
    # The application's own connection stays the application's; and X is not asked as well.
    others = {"WAYLAND_SOCKET": "0", "DISPLAY": ":9999"}
    start = WaylandCompositor

    @contextlib.contextmanager
    def restart(self, compositor):
        compositor.start()
        yield

    def test_outputs(self):
        for why, outputs, expected in [
            ("whole scales", ["1440x900+0+0", "3840x2160+1440+0@2"],
             [(ONE, 0, 0, 1440, 900, 1), (TWO, 1440, -180, 1920, 1080, 2)]),
            ("broken scales", ["1920x1080+0+0@1.5", "1920x1200+1280+0@1.25"],
             [(ONE, 0, 0, 1280, 720, 1.5), (TWO, 1280, -240, 1536, 960, 1.25)]),
            ("the one at the origin comes first", ["800x600+-800+0", "1024x768+0+0"],
             [(TWO, 0, 0, 1024, 768, 1), (ONE, -800, 168, 800, 600, 1)]),
            ("or the one nearest to it", ["800x600+2000+100", "1024x768+300+-400"],
             [(TWO, 0, 0, 1024, 768, 1), (ONE, 1700, -332, 800, 600, 1)]),
        ]:
            with self.subTest(why), WaylandCompositor(*outputs) as compositor, \
                    Probe(PROBE, compositor.environment) as probe:
                self.assertEqual(probe.list(), expected)

    def test_changes(self):
        with WaylandCompositor("1440x900+0+0", "1920x1080+1440+0") as compositor, \
                Probe(PROBE, compositor.environment) as probe:
            self.assertEqual(len(probe.list()), 2)
            first = (ONE, 0, 0, 1440, 900, 1)
            for command, second in [
                ("pos 0 900", (TWO, 0, -1080, 1920, 1080, 1)),
                ("scale 1.5", (TWO, 0, -720, 1280, 720, 1.5)),
                ("transform 90", (TWO, 0, -1280, 720, 1280, 1.5)),
                ("resolution 800x600 transform normal scale 1", (TWO, 0, -600, 800, 600, 1)),
            ]:
                with self.subTest(command):
                    compositor.command(f"output {TWO} {command}")
                    probe.wait_for([first, second])
            compositor.command("create_output")
            compositor.command("output HEADLESS-3 resolution 640x480 pos 5000 0")
            probe.wait_for([first, (TWO, 0, -600, 800, 600, 1), ("HEADLESS-3", 5000, 420, 640, 480, 1)])

    def test_outputs_that_go(self):
        with WaylandCompositor("1440x900+0+0", "1920x1080+1440+0") as compositor, \
                WaylandFilter(compositor) as offer, Probe(PROBE, offer.environment) as probe:
            self.assertEqual(len(probe.list()), 2)
            offer.withdraw_last_output()
            self.assertEqual(probe.list(), [(ONE, 0, 0, 1440, 900, 1)])
            offer.withdraw_last_output()
            self.assertEqual(probe.list(), [])
            compositor.command("create_output")
            compositor.command("output HEADLESS-3 resolution 640x480 pos 5000 0")
            probe.wait_for([("HEADLESS-3", 0, 0, 640, 480, 1)])

    def test_older_compositors(self):
        placed = [(0, 0, 1440, 900, 1), (1440, -180, 1920, 1080, 2)]
        # Without the extension, compositors tell no places.
        alone = [(0, 0, 1440, 900, 1), (0, -180, 1920, 1080, 2)]
        extension = "zxdg_output_manager_v1"
        with WaylandCompositor("1440x900+0+0", "3840x2160+1440+0@2") as compositor:
            for why, without, versions, expected, names in [
                ("no names from outputs", [], {"wl_output": 3}, placed, [ONE, TWO]),
                ("nor a way to release them", [], {"wl_output": 2}, placed, [ONE, TWO]),
                ("places end by themselves", [], {extension: 2}, placed, [ONE, TWO]),
                ("no names at all", [], {"wl_output": 3, extension: 1}, placed, ["", ""]),
                ("no places", [extension], {}, alone, [ONE, TWO]),
                ("nothing but the bare outputs", [extension], {"wl_output": 2}, alone, ["", ""]),
                ("nothing that is understood", [], {"wl_output": 1}, [], []),
            ]:
                with self.subTest(why), WaylandFilter(compositor, without, versions) as offer, \
                        Probe(PROBE, offer.environment) as probe:
                    self.assertEqual(probe.list(), [(name, *frame) for name, frame in zip(names, expected)])

    def test_somebody_else_behind_the_socket(self):
        for what in b"", b"\x01\0\0\0\0\0\x08\0", b"\xff" * 64:
            with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
                listener.bind(str(pathlib.Path(folder, "socket")))
                listener.listen()
                environment = {"XDG_RUNTIME_DIR": folder, "WAYLAND_DISPLAY": "socket"}
                with self.subTest(what), Probe(PROBE, environment) as probe:
                    probe.send("list")
                    stranger, _ = listener.accept()
                    stranger.sendall(what)
                    stranger.close()
                    self.assertEqual(probe.receive(), "")

    def test_where_the_socket_is(self):
        with WaylandCompositor("1440x900+0+0") as compositor:
            folder, name = compositor.environment["XDG_RUNTIME_DIR"], compositor.environment["WAYLAND_DISPLAY"]
            for environment, number in [
                ({"WAYLAND_DISPLAY": f"{folder}/{name}"}, 1),
                ({"WAYLAND_DISPLAY": name}, 0),
                ({"WAYLAND_DISPLAY": name, "XDG_RUNTIME_DIR": "relative"}, 0),
                ({"WAYLAND_DISPLAY": "", "XDG_RUNTIME_DIR": folder}, 0),
                ({"WAYLAND_DISPLAY": "no-such-socket", "XDG_RUNTIME_DIR": folder}, 0),
                ({"WAYLAND_DISPLAY": "config", "XDG_RUNTIME_DIR": folder}, 0),
                ({"WAYLAND_DISPLAY": "x" * 200, "XDG_RUNTIME_DIR": folder}, 0),
                ({"WAYLAND_DISPLAY": "/" + "x" * 200, "XDG_RUNTIME_DIR": folder}, 0),
            ]:
                with self.subTest(environment), Probe(PROBE, environment) as probe:
                    self.assertEqual(len(probe.list()), number)


skip_unless_it_runs(WaylandCompositor("640x480+0+0"))
unittest.main()
