"""What the tests of the tool with other components around it share. Each is called with JV [sanitized]."""

import json
import os
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))

JV = os.path.abspath(sys.argv[1])
SANITIZED = "sanitized" in sys.argv


def facts(**options):
    """All that `jv info` knows, as (value, origin) by name."""
    done = subprocess.run([JV, "info", "--json"], capture_output=True, timeout=60, check=True, **options)
    assert done.stderr == b"", done.stderr
    lines = map(json.loads, done.stdout.splitlines())
    return {line["fact"]: (line["value"], line["origin"]) for line in lines if "fact" in line}


def main():
    """Runs the tests. The arguments are taken only now: before, a test may have to start itself anew with them."""
    unittest.main(module="__main__", argv=sys.argv[:1] + sys.argv[2 + SANITIZED:])
