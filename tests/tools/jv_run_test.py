"""jv_run_test.py JV [sanitized]: `jv run` as people and scripts use it."""

import json
import os
import unittest

from support import ToolTest, jv

# Both ways of running show the same.
WAYS = [], ["--async"]


def run(*arguments, **options):
    return jv("run", *arguments, **options)


class Run(ToolTest):
    def expect_refusal(self, status, complaint, *arguments, **options):
        result = run(*arguments, **options)
        self.assertEqual((result.returncode, result.stderr.decode()), (status, f"jv run: {complaint}\n"))

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
        file = self.folder / "lines"
        file.write_bytes(b"line\n" * 100_000)
        for way in WAYS:
            self.assertEqual(run(*way, "--input", "some text", "--", "cat").stdout, b"some text")
            self.assertEqual(run(*way, "--input-file", "-", "--", "cat", input=b"from here\n").stdout, b"from here\n")
            self.assertEqual(run(*way, "--input-file", file, "--", "wc", "-l").stdout, b"100000\n")
        self.expect_refusal(3, "/no/such/file: No such file or directory", "--input-file", "/no/such/file", "--", "cat")
        folder = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, folder)
        self.expect_refusal(3, "-: Is a directory", "--input-file", "-", "--", "cat", stdin=folder)

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
        folder, tool = self.folder, self.folder / "tool"
        tool.write_text("#!/bin/sh\npwd\n")
        tool.chmod(0o755)
        home = os.path.realpath(folder).encode() + b"\n"
        self.assertEqual(run("--directory", folder, "--", "pwd").stdout, home)
        self.assertEqual(run("--directory", folder, "--", "./tool").stdout, home, "counts from the tool's directory")
        self.assertEqual(run("--", "tool", cwd=folder).returncode, 127, "the working directory is not searched")
        # Relative folders of PATH count from where jv was started.
        path = {**os.environ, "PATH": ".:" + os.environ["PATH"]}
        self.assertEqual(run("--directory", "/", "--", "tool", cwd=folder, env=path).stdout, b"/\n")
        self.expect_refusal(127, "Cannot change to the directory /no/such: No such file or directory",
                            "--directory", "/no/such", "--", "true")


unittest.main()
