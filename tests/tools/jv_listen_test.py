"""jv_listen_test.py JV [sanitized]: how `jv listen` starts and ends. What it says is tested in tests/system."""

import os
import pathlib
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
from listening import BOUND, Listening  # noqa: E402

JV = os.path.abspath(sys.argv.pop(1))
SANITIZED = "sanitized" in sys.argv and bool(sys.argv.pop())


class Listen(unittest.TestCase):
    def test_ends_well_when_it_is_interrupted(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with Listening(JV) as listening:
                self.assertEqual(listening.ready, "jv listen: waiting for changes\n")
                listening.process.send_signal(number)
                self.assertEqual(listening.process.wait(BOUND), 0)

    @unittest.skipIf(SANITIZED, "a sanitizer has threads of its own")
    def test_takes_one_thread(self):
        with Listening(JV) as listening:
            self.assertEqual(listening.threads(), 1)

    def test_usage(self):
        result = subprocess.run([JV, "listen", "extra"], capture_output=True, timeout=BOUND, check=False)
        self.assertEqual(result.returncode, 2)


unittest.main()
