"""jv_run_test.py JV [sanitized]: `jv run` as people and scripts use it."""

import json
import os

from support import ToolTest, jv, main

# Both ways of running show the same.
WAYS = [], ["--async"]


def run(*arguments, **options):
    return jv("run", *arguments, **options)


class Run(ToolTest):
    def expect_refusal(self, status, complaint, *arguments, **options):
        result = run(*arguments, **options)
        self.assertEqual((result.returncode, result.stderr), (status, b"jv run: %s\n" % complaint))

    def test_what_comes_back(self):
        for why, arguments, expected, as_json in [
            ("output, error output and status", ["sh", "-c", "echo out; echo err >&2; exit 5"], (5, b"out\n", b"err\n"),
             {"status": 5, "output": "out\n", "error": "err\n"}),
            ("a signal", ["sh", "-c", "kill -9 $$"], (137, b"", b""), {"signal": 9}),
            ("arguments pass unchanged", ["printf", "%s|", "--json", "", "a b", "--"], (0, b"--json||a b|--|", b""),
             {"status": 0, "output": "--json||a b|--|"}),
            ("missing", ["/no/such/tool"],
             (127, b"", b"jv run: Cannot launch /no/such/tool: No such file or directory\n"),
             {"status": -666, "error": "Cannot launch /no/such/tool: No such file or directory"}),
        ]:
            for way in WAYS:
                with self.subTest(why, way=way):
                    result = run(*way, "--", *arguments)
                    self.assertEqual((result.returncode, result.stdout, result.stderr), expected)
                    result = run(*way, "--json", "--", *arguments)
                    self.assertEqual((result.returncode, json.loads(result.stdout)), (expected[0], as_json))
                    self.assertEqual((result.stdout.count(b"\n"), result.stderr), (1, b""))

    def test_input(self):
        for way in WAYS:
            self.assertEqual(run(*way, "--input", "some text", "--", "cat").stdout, b"some text")
            self.assertEqual(run(*way, "--input-file", "-", "--", "cat", input=b"from here\n").stdout, b"from here\n")
            self.assertEqual(run(*way, "--input-file", __file__, "--", "head", "-c", "3").stdout, b'"""')
        self.expect_refusal(3, b"/no/such/file: No such file or directory", "--input-file", "/no/such/file", "--", "cat")

    def test_directory_and_path(self):
        folder, tool = self.folder, self.folder / "tool"
        tool.write_text("#!/bin/sh\npwd\n")
        tool.chmod(0o755)
        home = os.path.realpath(folder).encode() + b"\n"
        self.assertEqual(run("--directory", folder, "--", "./tool").stdout, home, "counts from the tool's directory")
        self.expect_refusal(127, b"Cannot find tool in the folders of PATH", "--", "tool", cwd=folder)
        # Relative folders of PATH count from where jv was started.
        path = {**os.environ, "PATH": ".:" + os.environ["PATH"]}
        self.assertEqual(run("--directory", "/", "--", "tool", cwd=folder, env=path).stdout, b"/\n")
        self.expect_refusal(127, b"Cannot change to the directory /no/such: No such file or directory",
                            "--directory", "/no/such", "--", "true")


main()
