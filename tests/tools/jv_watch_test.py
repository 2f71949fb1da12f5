"""jv_watch_test.py JV [sanitized]: `jv watch` as people and scripts use it."""

import json
import os
import pathlib
import signal
import subprocess
import time
import unittest

from support import BOUND, JV, ToolTest


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

    def read_until_told(self, expected):
        """Reads objects until all @expected paths are told of. @return all that were."""
        told = set()
        while not expected <= told:
            told.update(json.loads(self.line())["paths"])
        return told


class Watch(ToolTest):
    def setUp(self):
        super().setUp()
        self.root, self.log = self.folder / "root", self.folder / "log"
        (self.root / "sub").mkdir(parents=True)

    def assert_eventually(self, holds):
        end = time.monotonic() + BOUND
        while not holds():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def test_blocks_with_a_time(self):
        for options, shown in ([], f"{self.root}/sub"), (["--files"], f"$'{self.root}/sub/a\\nb'"):
            with self.subTest(options), Watching(*options, self.root) as watching:
                (self.root / "sub/a\nb").write_text("text")
                self.assertRegex(watching.line(), rb"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}\n$")
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
        log = self.log
        command = f"echo begin >>{log}; cat >>{log}; sleep 0.3; echo end >>{log}"
        with Watching("--exec", command, "--files", self.root) as watching:
            for number in range(5):
                (self.root / str(number)).touch()
                time.sleep(0.05)
            self.assert_eventually(lambda: log.exists() and f"{self.root}/4" in log.read_text())
            self.assertEqual(watching.end(), 0)
        marks = [line for line in log.read_text().splitlines() if not line.startswith("/")]
        self.assertEqual(marks, ["begin", "end"] * (len(marks) // 2))

    def test_exec_gets_names_of_any_bytes(self):
        expected = os.fsencode(self.root) + b"/a\nb\0"
        with Watching("--exec", f"cat >>{self.log}", "-0", "--files", self.root):
            (self.root / "a\nb").touch()
            self.assert_eventually(lambda: self.log.exists() and self.log.read_bytes() == expected)

    def test_exec_that_does_not_read(self):
        with Watching("--exec", f"exec 0<&-; echo done >>{self.log}", self.root) as watching:
            for number in range(3000):
                (self.root / f"{number:0200}").mkdir()
            self.assert_eventually(self.log.exists)
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

    def test_output_that_cannot_be_written(self):
        for streams, complaint in ("<&- >&-", b"Bad file descriptor"), (">/dev/full", b"No space left on device"):
            with Watching(self.root, through=["sh", "-c", f'exec "$0" "$@" {streams}']) as watching:
                (self.root / complaint.decode()).touch()
                self.assertEqual(watching.process.stderr.readline(), b"jv watch: cannot write: " + complaint + b"\n")
                self.assertEqual(watching.process.wait(BOUND), 3)

    def test_a_path_that_comes_later(self):
        later = self.root / "later"
        with Watching("--json", later) as watching:
            self.assertIn(b"later: No such file or directory; waiting for it\n", watching.said)
            later.mkdir()
            self.assertEqual(json.loads(watching.line())["paths"], [str(later)])

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
        self.assert_eventually(lambda: probe.write_text("") == 0 and probe.stat().st_ctime > silent.stat().st_ctime)
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
            told = watching.read_until_told(expected)
            self.assertTrue(str(self.root) in told)
            self.assertFalse(f"{self.root}/old/silent" in told, "it has not changed")
            # Afterwards everything goes on as before.
            (self.root / "new/deep/more").write_text("text")
            watching.read_until_told({f"{self.root}/new/deep/more"})
            self.assertEqual(watching.end(), 0)

    def test_the_limit_of_watches(self):
        """In a user namespace of its own, whose limit is lowered: what cannot be watched is looked at."""
        for number in range(20):
            (self.root / f"many/{number}").mkdir(parents=True)
        lowered = "echo 12 >/proc/sys/user/max_inotify_watches && exec \"$@\""
        inside = ["unshare", "--user", "--map-root-user", "sh", "-c", lowered, "sh"]
        if subprocess.run([*inside, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("no user namespace to be had")
        with Watching("--files", "--json", self.root, through=inside) as watching:
            self.assertIn(b"fs.inotify.max_user_watches", watching.said)
            expected = set()
            for number in range(20):
                (self.root / f"many/{number}/new/deep").mkdir(parents=True)
                (self.root / f"many/{number}/new/deep/file").write_text("text")
                expected.add(f"{self.root}/many/{number}/new/deep/file")
            watching.read_until_told(expected)
            (self.root / "many/19/new/deep/file").write_text("again")
            watching.read_until_told({f"{self.root}/many/19/new/deep/file"})
            self.assertEqual(watching.end(), 0)
            self.assertEqual(watching.process.stderr.read(), b"", "it is said once")


unittest.main()
