"""jv_font_test.py JV [sanitized]: `jv font` and `jv text-size` as people and scripts use them, with fonts that are known."""

import contextlib
import json
import os
import pathlib
import struct
import sys
import tempfile
import unittest
import zlib

from support import SANITIZED, ToolTest, jv
import with_fonts


def pixels_of(png):
    """Rows of grey values of a PNG file without interlacing."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    width, height, *form = struct.unpack_from(">IIBBBBB", png, 16)
    assert form == [8, 0, 0, 0, 0], form
    at, data = 8, b""
    while at < len(png):
        length, kind = struct.unpack_from(">I4s", png, at)
        if kind == b"IDAT":
            data += png[at + 8:at + 8 + length]
        at += 12 + length
    lines = zlib.decompress(data)
    rows, above = [], bytearray(width)
    for start in range(0, len(lines), width + 1):
        how, row = lines[start], bytearray(lines[start + 1:start + 1 + width])
        for i in range(width):
            left, up, corner = (row[i - 1], above[i], above[i - 1]) if i else (0, above[i], 0)
            guess = left + up - corner
            nearest = min((left, up, corner), key=lambda value: abs(guess - value))
            row[i] = row[i] + (0, left, up, (left + up) // 2, nearest)[how] & 255
        rows.append(row)
        above = row
    assert len(rows) == height
    return rows


class Fonts(ToolTest):
    def setUp(self):
        super().setUp()
        self.environment = {**os.environ, **with_fonts.environment(self.folder)}

    def jv(self, *arguments, **options):
        return jv(*arguments, **{"env": self.environment, **options})

    @contextlib.contextmanager
    def no_fonts(self):
        """An environment without any."""
        with tempfile.TemporaryDirectory() as folder:
            yield {**os.environ, **with_fonts.environment(folder, ())}

    def test_json(self):
        result = self.jv("font", "DejaVu Sans Bold", "12", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        font = json.loads(result.stdout)
        self.assertEqual(result.stdout.count(b"\n"), 1)
        self.assertAlmostEqual(font.pop("ascender") - font.pop("descender") + font.pop("leading"), font["lineHeight"])
        self.assertAlmostEqual(font.pop("lineHeight"), 13.96875)
        expected = {"name": "DejaVuSans-Bold", "family": "DejaVu Sans", "displayName": "DejaVu Sans Bold",
                    "fullDisplayName": "DejaVu Sans - 12.0", "pointSize": 12,
                    "variants": {"normal": "DejaVuSans", "bold": "DejaVuSans-Bold", "italic": "DejaVuSans-Oblique",
                                 "boldItalic": "DejaVuSans-BoldOblique"}}
        self.assertEqual(font, {**font, **expected})
        size = json.loads(self.jv("text-size", "--width", "100", "--json", "Hello").stdout)
        self.assertEqual(size, {"width": 100, "height": 13.96875})

    def test_variants(self):
        for variant, name in [("normal", "DejaVuSans"), ("bold", "DejaVuSans-Bold"),
                              ("bold-italic", "DejaVuSans-BoldOblique")]:
            result = self.jv("font", "DejaVuSans-Oblique", "12.5", "--variant", variant)
            self.assertEqual((result.returncode, result.stdout.splitlines()[0]), (0, f"name         {name}".encode()))

    def test_sizes_of_texts(self):
        for why, arguments, text, expected in [
            ("one line", ["--width", "100", "Hello"], b"", "100 x 13.9688"),
            ("several", ["--width", "40", "Hello wide world"], b"", "40 x 41.9062"),
            ("another font", ["--width", "100", "--font", "Liberation Sans", "--size", "24", "Hello"], b"", "100 x 27.5977"),
            ("standard input", ["--width", "100", "-"], b"a\nb\n", "100 x 41.9062"),
            ("paragraphs", ["--width", "100", "--paragraph-spacing", "5", "-"], b"a\nb", "100 x 32.9375"),
            ("not UTF-8", ["--width", "100", "-"], b"\xff\xfe\0", "100 x 13.9688"),
            ("negative", ["--width=-1", "Hello wide world"], b"", "-1 x 13.9688"),
            ("infinite", ["--width", "inf", "Hello wide world"], b"", "inf x 13.9688"),
        ]:
            with self.subTest(why):
                result = self.jv("text-size", *arguments, input=text)
                self.assertEqual((result.returncode, result.stderr), (0, b""))
                self.assertEqual(result.stdout.decode().strip(), expected)

    def test_what_cannot_be_done(self):
        font, size = ["font", "DejaVu Sans", "12"], ["text-size", "--width", "100", "text"]
        with self.no_fonts() as none:
            for arguments, status, complaint, environment in [
                (["font", "No Such Font", "12"], 1, b"No Such Font", self.environment),
                ([*size, "--font", "No Such Font"], 1, b"No Such Font", self.environment),
                (font, 3, b"there are no fonts", none),
                (size, 3, b"there are no fonts", none),
                ([*size, "--font", "DejaVu Sans"], 3, b"there are no fonts", none),
            ]:
                with self.subTest(arguments=arguments):
                    result = self.jv(*arguments, env=environment)
                    self.assertEqual((result.returncode, result.stdout), (status, b""))
                    self.assertIn(complaint, result.stderr)
        for arguments in font, size:
            self.expect_complaint_when_nobody_reads(*arguments, env=self.environment)

    @unittest.skipIf(SANITIZED, "the sanitizer would have to be found first")
    def test_without_modules(self):
        alone = self.without_modules()
        for arguments in ["font", "DejaVu Sans", "12"], ["text-size", "--width", "100", "text"]:
            result = self.jv(*arguments, env={**self.environment, **alone})
            self.assertEqual((result.returncode, result.stdout), (3, b""))
            self.assertIn(b"fonts cannot be looked up", result.stderr)

    def test_a_font_cannot_upset_the_terminal(self):
        plain, odd = "Liberation Mono", "Liberation M\x1bno"
        file = pathlib.Path(with_fonts.FOLDERS[1], "LiberationMono-Regular.ttf").read_bytes()
        for encoding in "utf-16-be", "ascii":
            file = file.replace(plain.encode(encoding), odd.encode(encoding))
        with self.no_fonts() as none:
            pathlib.Path(none["JV_TEST_FONTS"], "odd.ttf").write_bytes(file)
            result = self.jv("font", odd, "12", env=none)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(b"Liberation M\\033no", result.stdout)
        self.assertNotIn(b"\x1b", result.stdout)

    def test_specimen(self):
        file = self.folder / "specimen.png"
        pictures = []
        for name in "Liberation Serif", "DejaVu Sans":
            self.assertEqual(self.jv("font", name, "14", "--specimen", file).returncode, 0)
            rows = pixels_of(file.read_bytes())
            self.assertEqual(len(rows[0]), 1280)
            self.assertEqual({*rows[0], *rows[-1]}, {255}, "a white margin")
            dark = sum(value < 64 for row in rows for value in row) / len(rows) / 1280
            self.assertTrue(0.01 < dark < 0.3, dark)
            pictures.append(rows)
        self.assertNotEqual(*pictures)
        for size, bad, complaint in ("12", "/no/such/folder/F.png", b"cannot write"), ("1e6", file, b"too large"):
            result = self.jv("font", "DejaVu Sans", size, "--specimen", bad)
            self.assertEqual(result.returncode, 3)
            self.assertIn(complaint, result.stderr)


if with_fonts.missing():
    print("skipped, not installed:", *with_fonts.missing())
    sys.exit(with_fonts.SKIPPED)
unittest.main()
