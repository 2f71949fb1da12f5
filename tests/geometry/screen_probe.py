"""The probe as an object, and what the tests with real window systems share."""

import os
import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))

from processes import BOUND, Missing, end  # noqa: E402

SKIPPED = 77


class Probe:
    """A program that uses the library, in an @environment with nothing else about window systems in it."""

    def __init__(self, program, environment):
        names = ("DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "XDG_RUNTIME_DIR", "XAUTHORITY")
        clean = {name: value for name, value in os.environ.items() if name not in names}
        self.process = subprocess.Popen([program], env={**clean, **environment}, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        try:
            status = self.process.wait(BOUND)
        finally:
            end(self.process)
            self.process.stdout.close()
        assert status == 0, f"the probe ended with {status}"

    def ask(self, question):
        self.send(question)
        return self.receive()

    def send(self, question):
        self.process.stdin.write(question + "\n")
        self.process.stdin.flush()

    def receive(self):
        answer = self.process.stdout.readline()
        assert answer.endswith("\n"), "the probe has gone"
        return answer.removesuffix("\n")

    def list(self):
        """Each screen as (name, x, y, width, height, scale)."""
        screens = [words.split(" ") for words in self.ask("list").split(";") if words]
        return [(name, *map(float, numbers)) for name, *numbers in screens]

    def wait_for(self, expected):
        """Asks until the list is as @expected; for what takes effect in its own time."""
        deadline = time.monotonic() + BOUND
        while (found := self.list()) != expected:
            assert time.monotonic() < deadline, f"still {found}"


def skip_unless_it_runs(starter):
    """Ends the test as skipped where @starter has nothing to start."""
    try:
        with starter:
            pass
    except Missing as missing:
        print(missing)
        sys.exit(SKIPPED)
