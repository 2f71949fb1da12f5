"""screens_test.py PROBE x11|wayland: the screens of a real X server or Wayland compositor. Ends with 77 where none can be
started."""

import contextlib
import os
import pathlib
import socket
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))

from listening import eventually  # noqa: E402
from older import Between, older_randr, older_wayland, withdrawn  # noqa: E402
from processes import BOUND, Missing  # noqa: E402
from wayland_compositor import WaylandCompositor  # noqa: E402
from x_server import XServer  # noqa: E402

SKIPPED = 77
FIRST_PORT = 6000  # of display 0
PROBE, SYSTEM = os.path.abspath(sys.argv[1]), sys.argv[2]
ONE, TWO = "HEADLESS-1", "HEADLESS-2"


class Probe:
    """A program that uses the library, in an @environment with nothing else about window systems in it."""

    def __init__(self, environment):
        names = ("DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "XDG_RUNTIME_DIR", "XAUTHORITY")
        clean = {name: value for name, value in os.environ.items() if name not in names}
        self.process = subprocess.Popen([PROBE], env={**clean, **environment}, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.communicate(timeout=BOUND)
        assert self.process.returncode == 0, f"the probe ended with {self.process.returncode}"

    def list(self):
        """Each screen as (name, x, y, width, height, scale)."""
        self.process.stdin.write("\n")
        self.process.stdin.flush()
        *screens, line_feed = self.process.stdout.readline().split(";")
        assert line_feed == "\n", "the probe has gone"
        return [(name, *map(float, numbers)) for name, *numbers in (screen.split(" ") for screen in screens)]

    def wait_for(self, *expected):
        """Asks until the list is as @expected; for what takes effect in its own time."""
        eventually(lambda: self.list() == [*expected])

    def loaded(self):
        maps = pathlib.Path(f"/proc/{self.process.pid}/maps").read_text(encoding="utf-8")
        return [name for name, library in (("x11", "/libxcb"), ("wayland", "/libwayland")) if library in maps]


class Screens(unittest.TestCase):
    @contextlib.contextmanager
    def probe(self, *arguments, **options):
        """A server with screens, and who asks it."""
        with self.start(*arguments, **options) as server, Probe({**self.others, **server.environment}) as probe:
            yield server, probe

    def test_one_that_ends(self):
        with self.probe("1440x900+0+0") as (server, probe):
            self.assertEqual(probe.loaded(), [], "nothing before the first question")
            self.assertEqual(len(probe.list()), 1)
            self.assertEqual(probe.loaded(), [SYSTEM])
            server.end()
            self.assertEqual(probe.list(), [])
            with self.restart(server):
                probe.wait_for((self.first, 0, 0, 1440, 900, 1))

    def test_one_that_does_not_answer(self):
        with self.probe("1440x900+0+0") as (server, probe):
            self.assertEqual(len(probe.list()), 1)
            server.stop_answering()
            self.assertEqual(probe.list(), [], "on the connection that stood")
            with Probe(server.environment) as newcomer:
                self.assertEqual(newcomer.list(), [], "while connecting")
                server.answer_again()
                for each in probe, newcomer:
                    each.wait_for((self.first, 0, 0, 1440, 900, 1))


class X11(Screens):
    first, others = "A", {}
    start = XServer

    def restart(self, server):
        return XServer("1440x900+0+0", display=server.display)

    def test_changes_are_seen_by_the_next_question(self):
        with self.probe("1440x900+0+0", "1920x1080+1440+0") as (server, probe):
            self.assertEqual(probe.list(), [("A", 0, 0, 1440, 900, 1), ("B", 1440, -180, 1920, 1080, 1)])
            server.delete_monitor("B")
            server.set_monitor("TV-1", "800x600+0+900")
            self.assertEqual(probe.list(), [("A", 0, 0, 1440, 900, 1), ("TV-1", 0, -600, 800, 600, 1)])
            server.delete_monitor("TV-1")
            server.set_monitor("C", "800x600+2000+900", primary=True)
            self.assertEqual(probe.list(), [("C", 0, 0, 800, 600, 1), ("A", -2000, 600, 1440, 900, 1)])

    def test_older_servers(self):
        with self.probe(size="1280x1024", options=["-extension", "RANDR"]) as (_, probe):
            self.assertEqual(probe.list(), [("", 0, 0, 1280, 1024, 1)])
        with XServer("800x600+0+0", "200x200+800+0", size="1280x1024") as server:
            for minor, expected in [
                (5, [("A", 0, 0, 800, 600, 1), ("B", 800, 400, 200, 200, 1)]),
                (3, [("screen", 0, 0, 1280, 1024, 1)]),  # the output that carries A
                (1, [("", 0, 0, 1280, 1024, 1)]),
            ]:
                listener = socket.create_server(("127.0.0.1", 0))
                display = {"DISPLAY": f"127.0.0.1:{listener.getsockname()[1] - FIRST_PORT}"}
                with self.subTest(minor=minor), Between(listener, f"/tmp/.X11-unix/X{server.display[1:]}",
                                                        older_randr(minor)), Probe(display) as probe:
                    self.assertEqual(probe.list(), expected)

    def test_no_server(self):
        for display, loaded in ("", []), (":9999", ["x11"]), ("no display", ["x11"]):
            with self.subTest(display), Probe({"DISPLAY": display}) as probe:
                self.assertEqual((probe.list(), probe.loaded()), ([], loaded))


class Wayland(Screens):
    first = ONE
    # The application's own connection stays the application's; and X is not asked as well.
    others = {"WAYLAND_SOCKET": "0", "DISPLAY": ":9999"}
    start = WaylandCompositor

    @contextlib.contextmanager
    def restart(self, compositor):
        compositor.start()
        yield

    @contextlib.contextmanager
    def older(self, compositor, versions):
        """Something between it and who asks, and the outputs that it offers."""
        folder, name = compositor.environment["XDG_RUNTIME_DIR"], compositor.environment["WAYLAND_DISPLAY"]
        listener, outputs = socket.socket(socket.AF_UNIX), []
        listener.bind(f"{folder}/older")
        listener.listen()
        with Between(listener, f"{folder}/{name}", older_wayland(versions, outputs)) as between, \
                Probe({"WAYLAND_DISPLAY": f"{folder}/older"}) as probe:
            yield between, outputs, probe
        os.unlink(f"{folder}/older")

    def test_changes(self):
        with self.probe("1440x900+0+0", "1920x1200+1440+0@1.25") as (compositor, probe):
            first = (ONE, 0, 0, 1440, 900, 1)
            probe.wait_for(first, (TWO, 1440, -60, 1536, 960, 1.25))
            for command, second in [
                ("pos 0 900 scale 1.5 transform 90", (TWO, 0, -1280, 800, 1280, 1.5)),
                ("resolution 800x600 transform normal scale 2", (TWO, 0, -300, 400, 300, 2)),
            ]:
                compositor.command(f"output {TWO} {command}")
                probe.wait_for(first, second)
            compositor.command(f"output {ONE} pos 2000 900")
            probe.wait_for((TWO, 0, 0, 400, 300, 2), (ONE, 2000, -600, 1440, 900, 1))  # nearer to the origin

    def test_outputs_that_go(self):
        with WaylandCompositor("1440x900+0+0", "1920x1080+1440+0") as compositor, \
                self.older(compositor, {}) as (between, outputs, probe):
            self.assertEqual(len(probe.list()), 2)
            for left in [[(ONE, 0, 0, 1440, 900, 1)], []]:
                between.clients[0].sendall(withdrawn(outputs.pop()))
                self.assertEqual(probe.list(), left)
            compositor.command("create_output")
            compositor.command("output HEADLESS-3 resolution 640x480 pos 5000 0")
            probe.wait_for(("HEADLESS-3", 0, 0, 640, 480, 1))

    def test_older_compositors(self):
        placed = [(0, 0, 1440, 900, 1), (1440, -180, 1920, 1080, 2)]
        # Without the extension, compositors tell no places.
        alone = [(0, 0, 1440, 900, 1), (0, -180, 1920, 1080, 2)]
        extension = "zxdg_output_manager_v1"
        with WaylandCompositor("1440x900+0+0", "3840x2160+1440+0@2") as compositor:
            for why, versions, expected, names in [
                ("no names from outputs", {"wl_output": 3}, placed, [ONE, TWO]),
                ("nor a way to release them", {"wl_output": 2}, placed, [ONE, TWO]),
                ("places end by themselves", {extension: 2}, placed, [ONE, TWO]),
                ("no names at all", {"wl_output": 3, extension: 1}, placed, ["", ""]),
                ("no places", {extension: 0}, alone, [ONE, TWO]),
                ("nothing that is understood", {"wl_output": 1}, [], []),
            ]:
                with self.subTest(why), self.older(compositor, versions) as (_, _, probe):
                    self.assertEqual(probe.list(), [(name, *frame) for name, frame in zip(names, expected)])


tests = {"x11": X11, "wayland": Wayland}[SYSTEM]
try:
    with tests.start("640x480+0+0"):
        pass
except Missing as missing:
    print(missing)
    sys.exit(SKIPPED)
unittest.main(argv=sys.argv[:1] + [tests.__name__])
