"""`jv listen` at work: what it says, line by line."""

import json
import os
import queue
import signal
import subprocess
import threading
import time

BOUND = 30  # seconds, for whatever ought to happen by itself


def eventually(holds):
    """Waits for what nobody tells of."""
    end = time.monotonic() + BOUND
    while not holds():
        if time.monotonic() > end:
            raise AssertionError("did not happen in time")
        time.sleep(0.01)


class Listening:
    """Runs `JV listen --json` from the start of the scope to its end, and looks at how it ended."""

    def __init__(self, jv, **options):
        self.process = subprocess.Popen([jv, "listen", "--json"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True, **options)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        self.ready = self.process.stderr.readline()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(json.loads(line))
        self.lines.put(None)

    def next(self, timeout=BOUND):
        """The next notification as (name, value). Raises queue.Empty when none comes in time."""
        line = self.lines.get(timeout=timeout)
        return line and (line["notification"], line["value"])

    def waiting(self):
        """What has come and was not taken."""
        return [self.lines.get_nowait() for _ in range(self.lines.qsize())]

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def threads(self):
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.process.send_signal(signal.SIGTERM)
        errors = self.process.stderr.read()
        status = self.process.wait(BOUND)
        self.reader.join(BOUND)
        self.process.stdout.close()
        self.process.stderr.close()
        if failure[0] is None and (status, errors) != (0, ""):
            raise AssertionError(f"jv listen ended with {status}: {errors}")
