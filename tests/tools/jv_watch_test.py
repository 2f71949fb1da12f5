"""jv_watch_test.py JV [sanitized]: `jv watch` as people and scripts use it."""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

JV = os.path.abspath(sys.argv.pop(1))
if "sanitized" in sys.argv:
    sys.argv.remove("sanitized")
BOUND = 60  # seconds, for whatever ought to happen by itself


class Watching:
    """A running `jv watch`, from the moment when it misses nothing."""

    def __init__(self, *arguments, through=(), **options):
        command = [*through, JV, "watch", *arguments]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
        self.said = b""
        while not self.said.endswith(b"jv watch: watching\n"):
            line = self.process.stderr.readline()
            if not line:
                raise RuntimeError(self.said)
            self.said += line

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.end()
        self.process.stdout.close()
        self.process.stderr.close()

    def end(self, how=signal.SIGINT):
        self.process.send_signal(how)
        return self.process.wait(BOUND)

    def line(self):
        return self.process.stdout.readline()


def eventually(holds):
    end = time.monotonic() + BOUND
    while not holds():
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True


class Watch(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name, "root")
        (self.root / "sub").mkdir(parents=True)

    def test_blocks_with_a_time(self):
        for why, options, expected in [("folders", [], "sub"), ("files", ["--files"], "sub/$'a\\nb'")]:
            with self.subTest(why), Watching(*options, self.root) as watching:
                (self.root / "sub/a\nb").write_text("text")
                self.assertRegex(watching.line(), rb"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}\n$")
                shown = f"{self.root}/{expected}"
                if "$" in expected:
                    shown = f"$'{self.root}/sub/a\\nb'"
                self.assertEqual(watching.line().decode(), f"  {shown}\n")
                self.assertEqual(watching.end(), 0)

    def test_json(self):
        with Watching("--files", "--json", self.root) as watching:
            (self.root / "text").touch()
            pathlib.Path(os.fsdecode(os.fsencode(self.root) + b"/\xff")).touch()
            batch = json.loads(watching.line())
            self.assertEqual(list(batch), ["time", "paths"])
            self.assertEqual(batch["paths"], [f"{self.root}/text", {"hex": (os.fsencode(self.root) + b"/\xff").hex()}])

    def test_exec_never_twice_at_once(self):
        log = self.root.parent / "log"
        command = f"echo begin >>{log}; cat >>{log}; sleep 0.3; echo end >>{log}"
        with Watching("--exec", command, "--files", self.root) as watching:
            for number in range(5):
                (self.root / str(number)).touch()
                time.sleep(0.05)
            self.assertTrue(eventually(lambda: log.exists() and f"{self.root}/4" in log.read_text()))
            self.assertEqual(watching.end(), 0)
        marks = [line for line in log.read_text().splitlines() if not line.startswith("/")]
        self.assertEqual(marks, ["begin", "end"] * (len(marks) // 2))

    def test_exec_gets_names_of_any_bytes(self):
        log = self.root.parent / "log"
        with Watching("--exec", f"cat >>{log}", "-0", "--files", self.root):
            (self.root / "a\nb").touch()
            self.assertTrue(eventually(lambda: log.exists() and log.read_bytes() == os.fsencode(self.root) + b"/a\nb\0"))

    def test_exec_that_does_not_read(self):
        with Watching("--exec", f"exec 0<&-; echo done >>{self.root.parent}/log", self.root) as watching:
            for number in range(3000):
                (self.root / f"{number:0200}").mkdir()
            self.assertTrue(eventually((self.root.parent / "log").exists))
            self.assertEqual(watching.end(), 0)

    def test_ends(self):
        for how in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
            with Watching(self.root) as watching:
                self.assertEqual(watching.end(how), 0)

    def test_ignored_signals_stay_ignored(self):
        with Watching(self.root, through=["nohup"]) as watching:
            watching.process.send_signal(signal.SIGHUP)
            (self.root / "file").touch()
            self.assertTrue(watching.line())
            self.assertEqual(watching.end(), 0)

    def test_the_second_signal_ends_at_once(self):
        pipe = self.root.parent / "pipe"
        os.mkfifo(pipe)
        with Watching("--exec", f"echo running >{pipe}; read line <{pipe}", self.root) as watching:
            (self.root / "file").touch()
            self.assertEqual(pipe.read_text(), "running\n")
            while watching.process.poll() is None:
                watching.process.send_signal(signal.SIGTERM)
                time.sleep(0.01)
            self.assertEqual(watching.process.returncode, -signal.SIGTERM)
            pipe.write_text("\n")  # the command ends by itself

    def test_closed_standard_streams_stay_closed(self):
        with Watching(self.root, through=["sh", "-c", 'exec "$0" "$@" <&- >&-']) as watching:
            (self.root / "file").touch()
            self.assertEqual(watching.process.stderr.readline(), b"jv watch: cannot write: Bad file descriptor\n")
            self.assertEqual(watching.process.wait(BOUND), 3)

    def test_a_path_that_comes_later(self):
        later = self.root / "later"
        with Watching("--json", later) as watching:
            self.assertIn(b"later: No such file or directory; waiting for it\n", watching.said)
            later.mkdir()
            self.assertEqual(json.loads(watching.line())["paths"], [str(later)])

    def test_output_that_nobody_takes(self):
        with open("/dev/full", "wb") as full:
            process = subprocess.Popen([JV, "watch", self.root], stdout=full, stderr=subprocess.PIPE)
            process.stderr.readline()
            (self.root / "text").touch()
            self.assertIn(b"cannot write: No space left on device", process.stderr.read())
            self.assertEqual(process.wait(BOUND), 3)
            process.stderr.close()

    def test_a_stopped_reader_misses_nothing(self):
        """The kernel's queue overflows while jv is stopped: what it has dropped is found on the disk."""
        with open("/proc/sys/fs/inotify/max_queued_events", encoding="ascii") as file:
            limit = int(file.read())
        if limit > 100_000:
            self.skipTest("the kernel's queue is too long to fill")
        (self.root / "old").mkdir()
        silent, probe = self.root / "old/silent", self.root.parent / "probe"
        silent.write_text("text")
        # The clock that stamps files ticks slowly; what was changed in one tick with the start may be told of.
        self.assertTrue(eventually(lambda: probe.write_text("") == 0 and probe.stat().st_ctime > silent.stat().st_ctime))
        with Watching("--files", "--json", self.root) as watching:
            watching.process.send_signal(signal.SIGSTOP)
            expected = set()
            for number in range(limit // 2 + 100):  # creating and closing are two events
                path = self.root / "sub" / str(number)
                path.touch()
                expected.add(str(path))
            (self.root / "new/deep").mkdir(parents=True)
            os.rename(self.root / "sub", self.root / "moved")
            expected = {path.replace("/sub/", "/moved/") for path in expected}
            for path in "new/deep/file", "moved/last":
                (self.root / path).write_text("text")
                expected.add(str(self.root / path))
            watching.process.send_signal(signal.SIGCONT)
            told = set()
            while not expected <= told:
                told.update(json.loads(watching.line())["paths"])
            self.assertTrue(str(self.root) in told)
            self.assertFalse(f"{self.root}/old/silent" in told, "it has not changed")
            # Afterwards everything goes on as before.
            (self.root / "new/deep/more").write_text("text")
            while f"{self.root}/new/deep/more" not in told:
                told.update(json.loads(watching.line())["paths"])
            self.assertEqual(watching.end(), 0)

    def test_the_limit_of_watches(self):
        """In a user namespace of its own, whose limit is lowered: what cannot be watched is looked at."""
        for number in range(20):
            (self.root / f"many/{number}").mkdir(parents=True)
        lowered = "echo 12 >/proc/sys/user/max_inotify_watches && exec \"$@\""
        inside = ["unshare", "--user", "--map-root-user", "sh", "-c", lowered, "sh"]
        if subprocess.run([*inside, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("no user namespace to be had")
        process = subprocess.Popen([*inside, JV, "watch", "--files", "--json", self.root], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        try:
            self.assertIn(b"fs.inotify.max_user_watches", process.stderr.readline())
            self.assertEqual(process.stderr.readline(), b"jv watch: watching\n")
            expected = set()
            for number in range(20):
                (self.root / f"many/{number}/new/deep").mkdir(parents=True)
                (self.root / f"many/{number}/new/deep/file").write_text("text")
                expected.add(f"{self.root}/many/{number}/new/deep/file")
            told = set()
            while not expected <= told:
                told.update(json.loads(process.stdout.readline())["paths"])
            (self.root / "many/19/new/deep/file").write_text("again")
            told.clear()
            while f"{self.root}/many/19/new/deep/file" not in told:
                told.update(json.loads(process.stdout.readline())["paths"])
        finally:
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(BOUND), 0)
            self.assertEqual(process.stderr.read(), b"", "it is said once")
            process.stdout.close()
            process.stderr.close()

    def test_usage(self):
        for arguments in [], ["--no-such-option", "/"], ["--json", "--exec", "true", "/"], ["-0", "/"]:
            result = subprocess.run([JV, "watch", *arguments], capture_output=True, timeout=BOUND, check=False)
            self.assertEqual((result.returncode, result.stdout), (2, b""), arguments)
            self.assertNotEqual(result.stderr, b"")


unittest.main()
