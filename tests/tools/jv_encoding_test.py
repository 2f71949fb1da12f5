"""jv_encoding_test.py JV [sanitized]: `jv encoding` as people and scripts use it."""

import json
import os
import pathlib
import pty
import random
import re
import subprocess
import threading
import unittest

from support import BOUND, JV, SANITIZED, ToolTest, jv

TEXT = "日本語のテキスト\n"
UNKNOWN = 0xFFFFFFFF
# name: contents, encoding, number, line breaks, rule
SAMPLES = {
    "ascii": (b"text\n", "ASCII", 1, "LF", "plain-ascii"),
    "empty": (b"", "UTF-8", 4, "none", "empty"),
    "euc": (TEXT.encode("euc_jp"), "EUC-JP", 3, "LF", "legacy-encoding"),
    "iso": (TEXT.encode("iso2022_jp"), "ISO-2022-JP", 21, "LF", "legacy-encoding"),
    "sjis-crlf": (TEXT.replace("\n", "\r\n").encode("shift_jis"), "Shift_JIS", 8, "CRLF", "legacy-encoding"),
    "sjis-cr": (TEXT.replace("\n", "\r").encode("shift_jis"), "UTF-8", 4, "CR", "line-breaks"),
    "utf8": (TEXT.encode(), "UTF-8", 4, "LF", "possible-utf-8"),
    "utf16": (TEXT.encode("utf-16"), "UTF-16", 10, "LF", "byte-order-mark"),
    "utf16-bare": ("これは普通の文章です。漢字とひらがなを含みます。\n".encode("utf-16-be"), "UTF-16", 10, "LF", "possible-utf-16"),
    "emoji": ("\U0001f600\n".encode(), "UTF-8", 4, "LF", "nothing-fits"),
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

    def answering(self, *arguments, **options):
        """A running `jv encoding` that is told names, one a line, and answers."""
        return subprocess.Popen([JV, "encoding", *arguments, "--files-from", "-"], stdin=subprocess.PIPE,
                                **{"stdout": subprocess.PIPE, "cwd": self.folder, **options})

    def test_prints_a_line_or_an_object_a_file(self):
        for name, (contents, *_) in SAMPLES.items():
            self.write(name, contents)
        output, errors = self.encoding("-l", *SAMPLES)
        expected = [f"{name}: {encoding} ({number}), {breaks}"
                    for name, (_, encoding, number, breaks, _) in SAMPLES.items()]
        self.assertEqual(output.decode().splitlines(), expected)
        self.assertEqual(errors, b"")
        output, _ = self.encoding("--json", "--line-breaks", "--explain", *SAMPLES)
        for line, (name, sample) in zip(output.splitlines(), SAMPLES.items(), strict=True):
            found = json.loads(line)
            _, encoding, number, breaks, rule = sample
            self.assertEqual([found["file"], found["encoding"], found["number"], found["lineBreaks"], found["rule"]],
                             [name, encoding, number, breaks, rule])
            if name == "euc":
                self.assertEqual(found["candidates"][0], {"encoding": "EUC-JP", "errors": 0, "features": 8})
                self.assertEqual(len(found["candidates"]), 3)

    def test_explains_on_indented_lines(self):
        self.write("euc", SAMPLES["euc"][0])
        lines = self.encoding("--explain", "euc")[0].decode().splitlines()
        self.assertEqual(lines[0], "euc: EUC-JP (3)")
        self.assertEqual(lines[2], "    EUC-JP: 0 errors, 8 multi-byte characters")
        self.assertTrue(all(line.startswith("    ") for line in lines[1:]))

    def test_reads_standard_input(self):
        self.assertEqual(self.encoding("-", input=TEXT.encode("euc_jp"))[0], b"-: EUC-JP (3)\n")
        self.write("large", b"a" * 5_000_000 + TEXT.encode("euc_jp"))
        with open(self.folder / "large", "rb") as file:
            self.assertEqual(self.encoding("-", stdin=file)[0], b"-: EUC-JP (3)\n")

    def test_odd_names_keep_to_their_line_and_come_back(self):
        names = [b"two\nlines", b"colour\x1b[31m", b"\xc6\xfc\xcb\xdc", b" blank", b"quote'back\\slash\t", b"[a,b]",
                 b"$'x'", "日本".encode(), b"\xc2\x9b1", b"a: ASCII (1)"]
        for name in names:
            self.write(name)
        lines = self.encoding("--", *names)[0].splitlines()
        self.assertEqual(len(lines), len(names))
        for line, name in zip(lines, names):
            self.assertNotIn(b"\x1b", line)
            line.decode()
            shown = line.rpartition(b": ")[0]
            if shown.startswith(b"$'"):
                shown = subprocess.run(["bash", "-c", b"printf %s " + shown], capture_output=True, check=True).stdout
            self.assertEqual(shown, name)
        for line, name in zip(self.encoding("--json", "--", *names)[0].splitlines(), names):
            found = json.loads(line)
            exact = bytes.fromhex(found["fileHex"]) if "fileHex" in found else found["file"].encode()
            self.assertEqual(exact, name)

    def test_unreadable_files_get_a_line_a_complaint_and_status_1(self):
        self.write("a")
        os.mkdir(self.folder / "folder")
        output, errors = self.encoding("missing", "a", "folder", "", status=1)
        unknown = f"unknown ({UNKNOWN})"
        self.assertEqual(output.decode().splitlines(),
                         [f"missing: {unknown}", "a: ASCII (1)", f"folder: {unknown}", f"$'': {unknown}"])
        self.assertEqual(len(errors.splitlines()), 3)
        self.assertIn(b"missing: No such file", errors)
        self.assertIn(b"folder: is a folder", errors)

    def test_property_lists_and_xml_are_unknown_without_being_opened(self):
        self.write("a.PLIST")
        os.mkfifo(self.folder / "pipe.xml")
        output, _ = self.encoding("--json", "a.PLIST", "pipe.xml")
        self.assertEqual([json.loads(line)["rule"] for line in output.splitlines()], ["declares-itself"] * 2)

    def test_walks_folders_but_follows_no_links(self):
        self.write("top/a")
        self.write("top/deep/er/b")
        os.mkfifo(self.folder / "top/pipe")
        for link, target in ("top/deep/cycle", ".."), ("top/link", "a"), ("named", "top"):
            os.symlink(target, self.folder / link)
        self.assertEqual(sorted(self.encoding("-r", "top")[0].splitlines()),
                         [b"top/a: ASCII (1)", b"top/deep/er/b: ASCII (1)"])
        self.assertEqual(len(self.encoding("-r", "named", "top/a")[0].splitlines()), 3)

    def test_walks_more_levels_than_it_may_open_files(self):
        self.write("d/" * 300 + "leaf")
        limited = ["sh", "-c", 'ulimit -n 64; exec "$0" "$@"', JV, "encoding", "-r", "d"]
        found = subprocess.run(limited, stdout=subprocess.PIPE, check=True, timeout=BOUND, cwd=self.folder).stdout
        self.assertTrue(found.endswith(b"d/leaf: ASCII (1)\n"))

    def test_complains_about_a_folder_that_it_may_not_read_and_goes_on(self):
        if os.geteuid() == 0:
            self.skipTest("root may read everything")
        self.write("top/closed/a")
        self.write("top/b")
        os.chmod(self.folder / "top/closed", 0)
        self.addCleanup(os.chmod, self.folder / "top/closed", 0o700)
        output, _ = self.encoding("-r", "top", status=1)
        self.assertEqual(len(output.splitlines()), 2)

    def test_reads_lists_of_names(self):
        for name in ("a", "b c", "-", "two\nlines"):
            self.write(name)
        lines = self.encoding("--files-from", "-", input=b"a\n\nb c\n-")[0].splitlines()
        self.assertEqual(lines, [b"a: ASCII (1)", b"b c: ASCII (1)", b"-: ASCII (1)"])
        lines = self.encoding("--files-from", "-", input=b"two\nlines\0a\0")[0].splitlines()
        self.assertEqual(lines, [b"$'two\\nlines': ASCII (1)", b"a: ASCII (1)"])
        self.write("list", b"a\n")
        self.assertEqual(self.encoding("--files-from", "list", "b c")[0], b"b c: ASCII (1)\na: ASCII (1)\n")
        for threads in "-j1", "-j2":
            answered = self.encoding(threads, "a", "b c", "--files-from", "missing", status=3)[0]
            self.assertEqual(answered, b"a: ASCII (1)\nb c: ASCII (1)\n")
        self.assertEqual(self.encoding("--files-from", "-", input=b"")[0], b"")

    def test_answers_while_the_list_goes_on(self):
        self.write("a")
        for threads in ("-j1", "-j2"):
            with self.answering(threads) as process:
                for _ in range(3):
                    process.stdin.write(b"a\n")
                    process.stdin.flush()
                    self.assertEqual(process.stdout.readline(), b"a: ASCII (1)\n")
                process.stdin.close()
                self.assertEqual(process.wait(BOUND), 0)

    def test_threads_change_nothing_in_the_output(self):
        draw = random.Random(7)
        for number in range(2000):
            contents, *_ = SAMPLES[draw.choice(list(SAMPLES))]
            self.write(f"tree/{number % 10}/{number}", contents * draw.choice([1, 1, 1, 100]))
        one, _ = self.encoding("-r", "tree", "missing", "-l", status=1)
        self.assertEqual(len(one.splitlines()), 2001)
        for threads in ("0", "2", "7"):
            self.assertEqual(self.encoding("-r", "tree", "missing", "-l", "-j", threads, status=1)[0], one)

    @unittest.skipIf(SANITIZED, "sanitizers keep what was freed")
    def test_memory_stays_flat(self):
        self.write("a")

        def peak(count):
            """The most memory in kilobytes that it used up to the last of so many answers."""
            with self.answering("-j2") as process:
                feeder = threading.Thread(target=lambda: (process.stdin.write(b"a\n" * count), process.stdin.flush()))
                feeder.start()
                for _ in range(count):
                    process.stdout.readline()
                feeder.join()
                status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
                process.stdin.close()
                self.assertEqual(process.wait(BOUND), 0)
            return int(re.search(r"VmHWM:\s+(\d+) kB", status)[1])

        self.assertLess(peak(200_000), peak(2_000) + 2000)  # the answers alone would take more

    def test_output_that_cannot_be_written(self):
        self.write("list", b"list\n" * 100_000)
        self.expect_complaint_when_nobody_reads("encoding", "list", cwd=self.folder)
        for disposition in ("", "trap '' PIPE; "):
            for threads in ("-j1", "-j2"):
                script = f"{disposition}\"$0\" encoding {threads} --files-from list | head -n 1"
                result = subprocess.run(["sh", "-c", script, JV], cwd=self.folder, capture_output=True, timeout=BOUND,
                                        check=False)
                self.assertEqual((result.stdout, result.stderr), (b"list: ASCII (1)\n", b""))

    def test_progress_shows_on_a_terminal_only(self):
        self.write("a")
        names = b"a\n" * 100_000
        for threads in ("-j1", "-j2"):
            controller, terminal = pty.openpty()
            with self.answering(threads, stdout=subprocess.DEVNULL, stderr=terminal) as process:
                os.close(terminal)
                shown = b""
                try:
                    while b" files" not in shown:
                        process.stdin.write(names)
                        os.set_blocking(controller, False)
                        try:
                            shown += os.read(controller, 4096)
                        except BlockingIOError:
                            pass
                    process.stdin.close()
                    self.assertEqual(process.wait(BOUND), 0)
                    shown += os.read(controller, 4096)
                finally:
                    process.kill()
                    os.close(controller)
            self.assertTrue(shown.endswith(b"\r\x1b[K"), shown)
        self.assertEqual(self.encoding("--files-from", "-", input=names)[1], b"")


unittest.main()
