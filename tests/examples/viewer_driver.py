"""The example viewer on an X server of its own, used with the keyboard."""

import os
import pathlib
import select
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))

from processes import BOUND, end, path_of  # noqa: E402  (the folder is known only now)


class Viewer:
    """A running viewer, from the moment when it has keyboard focus. Ends with the `with` that it is used in."""

    def __init__(self, program, file, environment, before=()):
        self.environment = {**os.environ, **environment, "QT_QPA_PLATFORM": "xcb"}
        for name in ("WAYLAND_DISPLAY", "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "XDG_CURRENT_DESKTOP"):
            self.environment.pop(name, None)
        self.command = [*before, program, "--say", str(file)]

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        env=self.environment)
        self.said, self.unread = [], b""
        try:
            self.window = self.focus("[(]")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        end(self.process)
        self.process.stdout.close()

    def xdotool(self, *arguments):
        result = subprocess.run([path_of("xdotool"), *map(str, arguments)], env=self.environment, check=True,
                                timeout=BOUND, capture_output=True, text=True)
        return result.stdout.split()

    def focus(self, title):
        """Waits for the window with @title and gives it the keyboard."""
        window = self.xdotool("search", "--sync", "--onlyvisible", "--name", title)[-1]
        self.xdotool("windowfocus", "--sync", window)
        return window

    def key(self, *keys):
        self.xdotool("key", *keys)

    def type(self, text):
        self.xdotool("type", "--delay", "1", text)

    def line(self):
        """What title or status line say next."""
        bound = time.monotonic() + BOUND
        while b"\n" not in self.unread:
            if not select.select([self.process.stdout], [], [], max(0, bound - time.monotonic()))[0]:
                raise TimeoutError(f"nothing more after {self.said}")
            piece = os.read(self.process.stdout.fileno(), 1 << 16)
            if not piece:
                raise EOFError(f"ended after {self.said}")
            self.unread += piece
        line, self.unread = self.unread.split(b"\n", 1)
        self.said.append(line.decode())
        return self.said[-1]

    def expect(self, *lines):
        """Reads until each of @lines was said, in any order."""
        missing = set(lines)
        while missing:
            missing.discard(self.line())
