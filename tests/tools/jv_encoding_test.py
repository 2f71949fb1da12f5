"""jv_encoding_test.py JV [sanitized]: `jv encoding` as people and scripts use it."""

import json
import os
import subprocess

from support import BOUND, JV, ToolTest, jv, main

TEXT = "日本語のテキスト\n"
# name: contents, encoding, number, line breaks, rule
SAMPLES = {
    "euc": (TEXT.encode("euc_jp"), "EUC-JP", 3, "LF", "legacy-encoding"),
    "sjis-crlf": (TEXT.replace("\n", "\r\n").encode("shift_jis"), "Shift_JIS", 8, "CRLF", "legacy-encoding"),
    "utf16": (TEXT.encode("utf-16"), "UTF-16", 10, "LF", "byte-order-mark"),
}


class Encoding(ToolTest):
    def write(self, name, contents=b"text\n"):
        path = self.folder / os.fsdecode(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents)

    def encoding(self, *arguments, status=0, **options):
        """Standard output of `jv encoding` in the folder, and standard error."""
        result = jv("encoding", *arguments, cwd=self.folder, **options)
        self.assertEqual(result.returncode, status, result)
        return result.stdout, result.stderr

    def test_prints_a_line_or_an_object_a_file(self):
        for name, (contents, *_) in SAMPLES.items():
            self.write(name, contents)
        expected = [f"{name}: {encoding} ({number}), {breaks}"
                    for name, (_, encoding, number, breaks, _) in SAMPLES.items()]
        output, errors = self.encoding("-l", *SAMPLES)
        self.assertEqual((output.decode().splitlines(), errors), (expected, b""))
        lines = self.encoding("--explain", "euc")[0].decode().splitlines()
        self.assertEqual((lines[0], lines[2]), ("euc: EUC-JP (3)", "    EUC-JP: 0 errors, 8 multi-byte characters"))
        output, _ = self.encoding("--json", "--line-breaks", "--explain", *SAMPLES)
        found = {object_["file"]: object_ for object_ in map(json.loads, output.splitlines())}
        for name, (_, *expected) in SAMPLES.items():
            self.assertEqual([found[name][key] for key in ("encoding", "number", "lineBreaks", "rule")], expected)
        self.assertEqual(found["euc"]["candidates"][0], {"encoding": "EUC-JP", "errors": 0, "features": 8})

    def test_odd_names_keep_to_their_line_and_come_back(self):
        names = [b"two\nlines", b"colour\x1b[31m", b"\xc6\xfc\xcb\xdc", b"quote'back\\slash\t", b"$'x'", b"\xc2\x9b1",
                 "日本".encode(), b"a: ASCII (1)"]
        for name in names:
            self.write(name)
        for line, name in zip(self.encoding("--", *names)[0].splitlines(), names, strict=True):
            self.assertNotIn(b"\x1b", line)
            line.decode()
            shown = line.rpartition(b": ")[0]
            if shown.startswith(b"$'"):
                shown = subprocess.run(["bash", "-c", b"printf %s " + shown], capture_output=True, check=True).stdout
            self.assertEqual(shown, name)
        self.assertEqual(json.loads(self.encoding("--json", "--", names[2])[0])["fileHex"], names[2].hex())

    def test_unreadable_files_get_a_line_a_complaint_and_status_1(self):
        self.write("a")
        output, errors = self.encoding("missing", "a", ".", status=1)
        unknown = f"unknown ({0xFFFFFFFF})"
        self.assertEqual(output.decode().splitlines(), [f"missing: {unknown}", "a: ASCII (1)", f".: {unknown}"])
        self.assertIn(b"missing: No such file", errors)
        self.assertIn(b".: is a folder", errors)

    def test_walks_folders_but_follows_no_links(self):
        self.write("top/" + "d/" * 300 + "leaf")
        os.mkfifo(self.folder / "top/pipe")
        os.symlink("..", self.folder / "top/d/cycle")
        # More levels than it may open files.
        limited = ["sh", "-c", 'ulimit -n 64; exec "$0" "$@"', JV, "encoding", "-r", "top"]
        found = subprocess.run(limited, stdout=subprocess.PIPE, check=True, timeout=BOUND, cwd=self.folder).stdout
        self.assertEqual(found, b"top/" + b"d/" * 300 + b"leaf: ASCII (1)\n")

    def test_reads_lists_of_names(self):
        for name in ("a", "b c", "-", "two\nlines"):
            self.write(name)
        for names, expected in [(b"a\n\nb c\n-", b"a: ASCII (1)\nb c: ASCII (1)\n-: ASCII (1)\n"),
                                (b"two\nlines\0a\0", b"$'two\\nlines': ASCII (1)\na: ASCII (1)\n")]:
            self.assertEqual(self.encoding("--files-from", "-", input=names)[0], expected)
        self.assertEqual(self.encoding("a", "--files-from", "missing", status=3)[0], b"a: ASCII (1)\n")
        self.assertEqual(self.encoding("-", input=TEXT.encode("euc_jp"))[0], b"-: EUC-JP (3)\n", "standard input itself")

    def test_answers_while_the_list_goes_on(self):
        self.write("a")
        with subprocess.Popen([JV, "encoding", "-j2", "--files-from", "-"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, cwd=self.folder) as process:
            for _ in range(3):
                process.stdin.write(b"a\n")
                process.stdin.flush()
                self.assertEqual(process.stdout.readline(), b"a: ASCII (1)\n")

    def test_threads_change_nothing_in_the_output(self):
        for number in range(2000):
            contents, *_ = SAMPLES[list(SAMPLES)[number % 7 % len(SAMPLES)]]
            self.write(f"tree/{number % 10}/{number}", contents * (1 + number % 11 * 10))
        one, _ = self.encoding("-r", "tree", "missing", "-l", status=1)
        self.assertEqual(len(one.splitlines()), 2001)
        for threads in ("0", "7"):
            self.assertEqual(self.encoding("-r", "tree", "missing", "-l", "-j", threads, status=1)[0], one)

    def test_output_that_cannot_be_written(self):
        self.write("list", b"list\n" * 100_000)
        self.expect_complaint_when_nobody_reads("encoding", "list", cwd=self.folder)
        script = "trap '' PIPE; \"$0\" encoding -j2 --files-from list | head -n 1"
        result = subprocess.run(["sh", "-c", script, JV], cwd=self.folder, capture_output=True, timeout=BOUND, check=True)
        self.assertEqual((result.stdout, result.stderr), (b"list: ASCII (1)\n", b""))


main()
