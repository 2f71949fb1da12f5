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


class CommonTests:
    """What holds with either window system. With start(*screens) one runs; restart(one) has it back after its end."""

    def test_one_that_ends(self):
        with self.start("1440x900+0+0") as system, Probe(self.program, system.environment) as probe:
            descriptors = probe.ask("descriptors")
            self.assertEqual(len(probe.list()), 1)
            system.end()
            self.assertEqual(probe.list(), [])
            self.assertEqual(probe.ask("descriptors"), descriptors)
            self.assertEqual(probe.ask("at 10 10"), "none")
            with self.restart(system):
                probe.wait_for([(self.first, 0, 0, 1440, 900, 1)])

    def test_one_that_does_not_answer(self):
        with self.start("1440x900+0+0") as system, Probe(self.program, system.environment) as probe:
            self.assertEqual(len(probe.list()), 1)
            system.stop_answering()
            self.assertEqual(probe.list(), [], "on the connection that stood")
            with Probe(self.program, system.environment) as newcomer:
                self.assertEqual(newcomer.list(), [], "while connecting")
                system.answer_again()
                for each in probe, newcomer:
                    each.wait_for([(self.first, 0, 0, 1440, 900, 1)])

    def test_threads(self):
        with self.start("1440x900+0+0", "1920x1080+1440+0") as system, Probe(self.program, system.environment) as probe:
            self.assertEqual(probe.ask("threads 4 500"), "0 wrong")

    def test_what_is_loaded(self):
        with self.start("1440x900+0+0") as system:
            with Probe(self.program, {**self.others, **system.environment}) as probe:
                self.assertEqual(probe.ask("mapped").split(), [], "nothing before the first question")
                self.assertEqual(len(probe.list()), 1)
                self.assertEqual(probe.ask("mapped").split(), [self.library])
                self.assertEqual(probe.ask("modules").split(), [self.module])


def skip_unless_it_runs(starter):
    """Ends the test as skipped where @starter has nothing to start."""
    try:
        with starter:
            pass
    except Missing as missing:
        print(missing)
        sys.exit(SKIPPED)
