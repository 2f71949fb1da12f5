"""jv_listen_test.py JV [sanitized]: how `jv listen` starts and ends. What it says is tested in tests/system."""

import signal
import unittest

from support import BOUND, JV, SANITIZED
from listening import Listening


class Listen(unittest.TestCase):
    def test_ends_well_when_it_is_interrupted(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with Listening(JV) as listening:
                self.assertEqual(listening.ready, "jv listen: waiting for changes\n")
                if not SANITIZED:  # a sanitizer has threads of its own
                    self.assertEqual(listening.threads(), 1)
                listening.process.send_signal(number)
                self.assertEqual(listening.process.wait(BOUND), 0)


unittest.main()
