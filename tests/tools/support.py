"""What the tests with the tool share: how it is started. Each test is called with JV [sanitized]."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))

JV = os.path.abspath(sys.argv[1])
SANITIZED = "sanitized" in sys.argv
BOUND = 60  # seconds, for whatever ought to end by itself
NO_BUS = dict.fromkeys(("DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"), "unix:path=/no/such/bus")
NOWHERE = {**os.environ, **NO_BUS}


def jv(*arguments, **options):
    """Runs the tool to its end, without input unless @options have some."""
    if "input" not in options:
        options.setdefault("stdin", subprocess.DEVNULL)
    pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
    return subprocess.run([JV, *arguments], timeout=BOUND, check=False, **{**pipes, **options})


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def without_modules(self):
        """What leads the tool to the library alone; not where it is sanitized, for the sanitizer would be missed first."""
        for library in pathlib.Path(JV).parents[2].glob("libJorvaneFoundation.so*"):
            shutil.copy(library, self.folder, follow_symlinks=False)
        return {"LD_LIBRARY_PATH": str(self.folder)}

    def expect_complaint_when_nobody_reads(self, *arguments, **options):
        with open("/dev/full", "wb") as full:
            result = jv(*arguments, stdout=full, **options)
        self.assertEqual(result.returncode, 3)
        self.assertRegex(result.stderr, rb"^jv \S+: (standard output|cannot write): No space left on device\n$")


def facts(**options):
    """All that `jv info` knows, as (value, origin) by name."""
    done = jv("info", "--json", **options)
    assert (done.returncode, done.stderr) == (0, b""), done
    lines = map(json.loads, done.stdout.splitlines())
    return {line["fact"]: (line["value"], line["origin"]) for line in lines if "fact" in line}


def main():
    """Runs the tests. The arguments are taken only now: before, a test may have to start itself anew with them."""
    unittest.main(module="__main__", argv=sys.argv[:1])
