"""jv_watch_test.py JV [sanitized]: `jv watch` as people and scripts use it."""

import json
import os
import pathlib
import signal
import subprocess
import time

from support import BOUND, JV, ToolTest, main
from listening import eventually


class Watching:
    """A running `jv watch`, from the moment when it misses nothing."""

    def __init__(self, *arguments, through=()):
        command = [*through, JV, "watch", *arguments]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.said = b""
        while not self.said.endswith(b"jv watch: watching\n"):
            self.said += self.process.stderr.readline() or b"ended: jv watch: watching\n"

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            status = self.process.wait(BOUND)
            assert failure[0] or status == 0, f"it ended with {status}"
        self.process.stdout.close()
        self.process.stderr.close()

    def line(self):
        return self.process.stdout.readline()

    def read_until_told(self, expected):
        """Reads objects until all @expected paths are told of."""
        while expected:
            expected = expected - set(json.loads(self.line())["paths"])


class Watch(ToolTest):
    def setUp(self):
        super().setUp()
        self.root, self.log = self.folder / "root", self.folder / "log"
        (self.root / "sub").mkdir(parents=True)
        self.log.touch()

    def test_blocks_with_a_time_or_json(self):
        text, bytes_ = f"{self.root}/a\nb", os.fsencode(self.root) + b"/\xff"
        with Watching("--files", self.root) as files, Watching("--files", "--json", self.root) as objects:
            pathlib.Path(text).touch()
            pathlib.Path(os.fsdecode(bytes_)).touch()
            self.assertRegex(files.line(), rb"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}\n$")
            self.assertEqual(files.line().decode(), f"  $'{self.root}/a\\nb'\n")
            batch = json.loads(objects.line())
            self.assertEqual((list(batch), batch["paths"]), (["time", "paths"], [text, {"hex": bytes_.hex()}]))

    def test_exec_never_twice_at_once(self):
        lock, expected = self.folder / "lock", set()
        command = f"mkdir {lock} || echo twice >>{self.log}; cat >>{self.log}; sleep 0.3; rmdir {lock}"
        with Watching("--exec", command, "-0", "--files", self.root):
            for number in range(4):
                (self.root / f"{number}\n").touch()
                expected.add(os.fsencode(self.root) + b"/%d\n" % number)
                time.sleep(0.15)  # so that there are batches of their own
            eventually(lambda: set(self.log.read_bytes().split(b"\0")) == {*expected, b""})

    def test_ends(self):
        with Watching(self.root) as watching:
            watching.process.send_signal(signal.SIGTERM)
            self.assertEqual(watching.process.wait(BOUND), 0)

    def test_output_that_cannot_be_written(self):
        with Watching(self.root, through=["sh", "-c", 'exec "$0" "$@" >/dev/full']) as watching:
            (self.root / "file").touch()
            self.assertEqual(watching.process.stderr.readline(), b"jv watch: cannot write: No space left on device\n")
            self.assertEqual(watching.process.wait(BOUND), 3)

    def test_a_stopped_reader_misses_nothing(self):
        """The kernel's queue overflows while jv is stopped: what it has dropped is found on the disk."""
        limit = int(pathlib.Path("/proc/sys/fs/inotify/max_queued_events").read_text(encoding="ascii"))
        if limit > 100_000:
            self.skipTest("the kernel's queue is too long to fill")
        with Watching("--files", "--json", self.root) as watching:
            watching.process.send_signal(signal.SIGSTOP)
            names = [str(number) for number in range(limit // 2 + 100)]  # creating and closing are two events
            for name in names:
                (self.root / "sub" / name).touch()
            os.rename(self.root / "sub", self.root / "moved")
            (self.root / "new/deep").mkdir(parents=True)
            (self.root / "new/deep/file").touch()
            watching.process.send_signal(signal.SIGCONT)
            watching.read_until_told({f"{self.root}/moved/{name}" for name in names} | {f"{self.root}/new/deep/file"})

    def test_the_limit_of_watches(self):
        """In a user namespace of its own, whose limit is lowered: what cannot be watched is looked at."""
        lowered = "echo 12 >/proc/sys/user/max_inotify_watches && exec \"$@\""
        inside = ["unshare", "--user", "--map-root-user", "sh", "-c", lowered, "sh"]
        if subprocess.run([*inside, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("no user namespace to be had")
        folders = [self.root / f"many/{number}" for number in range(20)]
        for folder in folders:
            folder.mkdir(parents=True)
        with Watching("--files", "--json", self.root, through=inside) as watching:
            self.assertIn(b"fs.inotify.max_user_watches", watching.said)
            for folder in folders:
                (folder / "new/deep").mkdir(parents=True)
                (folder / "new/deep/file").touch()
            watching.read_until_told({f"{folder}/new/deep/file" for folder in folders})


main()
