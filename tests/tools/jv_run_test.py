"""jv_run_test.py JV [sanitized]: `jv run` as people and scripts use it."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

JV = os.path.abspath(sys.argv.pop(1))
if "sanitized" in sys.argv:
    sys.argv.remove("sanitized")
BOUND = 60  # seconds, for whatever ought to end by itself

# Both ways of running show the same.
WAYS = [], ["--async"]


def run(*arguments, input=b"", **options):
    command = [JV, "run", *arguments]
    return subprocess.run(command, input=input, capture_output=True, timeout=BOUND, check=False, **options)


class Run(unittest.TestCase):
    def test_what_comes_back(self):
        for why, arguments, stdin, expected in [
            ("output, error output and status", ["sh", "-c", "echo out; echo err >&2; exit 5"], b"",
             (5, b"out\n", b"err\n")),
            ("a signal", ["sh", "-c", "echo out; kill -9 $$"], b"", (137, b"out\n", b"")),
            ("a status that looks like a signal's number", ["sh", "-c", "exit 9"], b"", (9, b"", b"")),
            ("arguments pass unchanged", ["printf", "%s|", "--json", "", "a b", "--"], b"", (0, b"--json||a b|--|", b"")),
            ("not UTF-8", ["printf", r"\377"], b"", (0, b"", b"")),
            ("missing", ["/no/such/tool"], b"",
             (127, b"", b"jv run: Cannot launch /no/such/tool: No such file or directory\n")),
            ("not on the path", ["no-such-tool"], b"",
             (127, b"", b"jv run: Cannot find no-such-tool in the folders of PATH\n")),
        ]:
            for way in WAYS:
                with self.subTest(why, way=way):
                    result = run(*way, "--", *arguments, input=stdin)
                    self.assertEqual((result.returncode, result.stdout, result.stderr), expected)

    def test_input(self):
        for way in WAYS:
            self.assertEqual(run(*way, "--input", "some text", "--", "cat").stdout, b"some text")
            self.assertEqual(run(*way, "--input-file", "-", "--", "cat", input=b"from here\n").stdout, b"from here\n")
            with tempfile.NamedTemporaryFile() as file:
                file.write(b"line\n" * 100_000)
                file.flush()
                self.assertEqual(run(*way, "--input-file", file.name, "--", "wc", "-l").stdout, b"100000\n")
        missing = run("--input-file", "/no/such/file", "--", "cat")
        self.assertEqual((missing.returncode, missing.stderr),
                         (3, b"jv run: /no/such/file: No such file or directory\n"))
        folder = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, folder)
        unreadable = subprocess.run([JV, "run", "--input-file", "-", "--", "cat"], stdin=folder, timeout=BOUND,
                                    stderr=subprocess.PIPE, check=False)
        self.assertEqual((unreadable.returncode, unreadable.stderr), (3, b"jv run: -: Is a directory\n"))

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([JV, "run", "--", "echo", "out"], stdout=full, stderr=subprocess.PIPE,
                                    timeout=BOUND, check=False)
        self.assertEqual((result.returncode, result.stderr),
                         (3, b"jv run: standard output: No space left on device\n"))

    def test_json(self):
        for why, arguments, status, expected in [
            ("only what there is", ["true"], 0, {"status": 0}),
            ("texts", ["sh", "-c", "echo out; echo err >&2; exit 5"], 5, {"status": 5, "output": "out\n", "error": "err\n"}),
            ("a signal", ["sh", "-c", "kill -15 $$"], 143, {"signal": 15}),
            ("not launched", ["/tmp"], 127, {"status": -666, "error": "Cannot launch /tmp: Permission denied"}),
        ]:
            for way in WAYS:
                with self.subTest(why, way=way):
                    result = run(*way, "--json", "--", *arguments)
                    self.assertEqual(result.returncode, status)
                    self.assertEqual(json.loads(result.stdout), expected)
                    self.assertEqual((result.stdout.count(b"\n"), result.stderr), (1, b""))

    def test_directory_and_path(self):
        with tempfile.TemporaryDirectory() as folder:
            tool = pathlib.Path(folder, "tool")
            tool.write_text("#!/bin/sh\npwd\n")
            tool.chmod(0o755)
            home = os.path.realpath(folder).encode() + b"\n"
            self.assertEqual(run("--directory", folder, "--", "pwd").stdout, home)
            self.assertEqual(run("--directory", folder, "--", "./tool").stdout, home, "counts from the tool's directory")
            self.assertEqual(run("--", "tool", cwd=folder).returncode, 127, "the working directory is not searched")
            # Relative folders of PATH count from where jv was started.
            path = {**os.environ, "PATH": ".:" + os.environ["PATH"]}
            self.assertEqual(run("--directory", "/", "--", "tool", cwd=folder, env=path).stdout, b"/\n")
        missing = run("--directory", "/no/such", "--", "true")
        self.assertEqual((missing.returncode, missing.stderr),
                         (127, b"jv run: Cannot change to the directory /no/such: No such file or directory\n"))

    def test_usage(self):
        for arguments in [], ["--no-such-option", "true"], ["--input", "a", "--input-file", "b", "true"]:
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, b""), arguments)
            self.assertNotEqual(result.stderr, b"")
        self.assertIn(b"TOOL", run("--help").stdout)

    def test_output_that_nobody_takes(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([JV, "run", "--", "echo", "text"], stdout=full, stderr=subprocess.PIPE, timeout=BOUND,
                                    check=False)
        self.assertEqual(result.returncode, 3)


unittest.main()
