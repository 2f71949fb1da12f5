"""jv_font_test.py JV [sanitized]: `jv font` and `jv text-size` as people and scripts use them, with fonts that are known."""

import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support"))
import with_fonts

JV = os.path.abspath(sys.argv.pop(1))
SANITIZED = "sanitized" in sys.argv
if SANITIZED:
    sys.argv.remove("sanitized")
BOUND = 60  # seconds, for whatever ought to end by itself


def setUpModule():
    global private, environment
    private = tempfile.TemporaryDirectory()
    environment = {**os.environ, **with_fonts.environment(private.name)}


def tearDownModule():
    private.cleanup()


def jv(*arguments, **options):
    options = {"env": environment, **options}
    return subprocess.run([JV, *arguments], capture_output=True, timeout=BOUND, check=False, **options)


def pixels_of(png):
    """Rows of grey values of a PNG file without interlacing."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    at, data = 8, b""
    while at < len(png):
        length, kind = struct.unpack_from(">I4s", png, at)
        body = png[at + 8:at + 8 + length]
        assert struct.unpack_from(">I", png, at + 8 + length)[0] == zlib.crc32(kind + body)
        if kind == b"IHDR":
            width, height, *form = struct.unpack(">IIBBBBB", body)
            assert form == [8, 0, 0, 0, 0], form
        if kind == b"IDAT":
            data += body
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


class Font(unittest.TestCase):
    def test_json(self):
        result = jv("font", "DejaVu Sans Bold", "12", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        font = json.loads(result.stdout)
        self.assertEqual(result.stdout.count(b"\n"), 1)
        expected = {"name": "DejaVuSans-Bold", "family": "DejaVu Sans", "displayName": "DejaVu Sans Bold",
                    "fullDisplayName": "DejaVu Sans - 12.0", "pointSize": 12}
        self.assertEqual({key: font[key] for key in expected}, expected)
        self.assertEqual(font["variants"], {"normal": "DejaVuSans", "bold": "DejaVuSans-Bold",
                                            "italic": "DejaVuSans-Oblique", "boldItalic": "DejaVuSans-BoldOblique"})
        self.assertAlmostEqual(font["ascender"] - font["descender"] + font["leading"], font["lineHeight"])
        self.assertAlmostEqual(font["lineHeight"], 13.96875)

    def test_variants(self):
        for variant, name in ("normal", "DejaVuSans"), ("bold", "DejaVuSans-Bold"), ("bold-italic", "DejaVuSans-BoldOblique"):
            result = jv("font", "DejaVuSans-Oblique", "12.5", "--variant", variant)
            self.assertEqual((result.returncode, result.stdout.splitlines()[0]), (0, f"name         {name}".encode()))

    def test_what_is_wrong(self):
        for why, arguments, status in [
            ("no such font", ["font", "No Such Font", "12"], 1),
            ("no name", ["font"], 2),
            ("no size", ["font", "DejaVu Sans"], 2),
            ("size 0", ["font", "DejaVu Sans", "0"], 2),
            ("no number", ["font", "DejaVu Sans", "nan"], 2),
            ("no such variant", ["font", "DejaVu Sans", "12", "--variant", "heavy"], 2),
            ("nowhere to write", ["font", "DejaVu Sans", "12", "--specimen", "/no/such/folder/F.png"], 3),
            ("too large to draw", ["font", "DejaVu Sans", "1e6", "--specimen", "/dev/null"], 3),
            ("too large a size", ["font", "DejaVu Sans", "1e7"], 2),
            ("no width", ["text-size", "text"], 2),
            ("an empty width", ["text-size", "--width", "", "text"], 2),
            ("a width that JSON lacks", ["text-size", "--width", "inf", "--json", "text"], 2),
            ("an empty size", ["text-size", "--width", "9", "--size", "", "text"], 2),
            ("too large a size", ["text-size", "--width", "9", "--size", "1e308", "text"], 2),
            *[("spacing", ["text-size", "--width", "9", "--paragraph-spacing=" + spacing, "text"], 2)
              for spacing in ("-1", "nan", "inf", "")],
            ("a font that is none", ["text-size", "--width", "9", "--font", "No Such Font", "text"], 1),
        ]:
            with self.subTest(why):
                result = jv(*arguments)
                self.assertEqual(result.returncode, status)
                self.assertNotEqual(result.stderr, b"")

    def test_output_that_nobody_takes(self):
        for arguments in ["font", "DejaVu Sans", "12"], ["text-size", "--width", "9", "text"]:
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                result = subprocess.run([JV, *arguments], stdout=full, stderr=subprocess.PIPE, env=environment,
                                        timeout=BOUND, check=False)
                self.assertEqual(result.returncode, 3)
                self.assertIn(b"No space", result.stderr)

    def test_a_font_cannot_upset_the_terminal(self):
        plain, odd = "Liberation Mono", "Liberation M\x1bno"
        file = pathlib.Path(with_fonts.FOLDERS[1], "LiberationMono-Regular.ttf").read_bytes()
        for encoding in "utf-16-be", "ascii":
            file = file.replace(plain.encode(encoding), odd.encode(encoding))
        with tempfile.TemporaryDirectory() as folder:
            none = {**os.environ, **with_fonts.environment(folder, ())}
            pathlib.Path(none["JV_TEST_FONTS"], "odd.ttf").write_bytes(file)
            result = jv("font", odd, "12", env=none)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(b"Liberation M\\033no", result.stdout)
        self.assertNotIn(b"\x1b", result.stdout)

    def test_specimen(self):
        file = os.path.join(private.name, "specimen.png")
        pictures = []
        for name in "Liberation Serif", "DejaVu Sans":
            self.assertEqual(jv("font", name, "14", "--specimen", file).returncode, 0)
            pictures.append(pixels_of(pathlib.Path(file).read_bytes()))
        for rows in pictures:
            self.assertEqual(len(rows[0]), 1280)
            self.assertEqual({*rows[0], *rows[-1]}, {255}, "a white margin")
            dark = sum(value < 64 for row in rows for value in row) / len(rows) / 1280
            self.assertTrue(0.01 < dark < 0.3, dark)
        self.assertNotEqual(*pictures)

    @unittest.skipIf(SANITIZED, "the sanitizer would have to be found first")
    def test_without_modules(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(JV).parent.parent.parent
            for library in root.glob("libJorvaneFoundation.so*"):
                shutil.copy(library, folder, follow_symlinks=False)
            alone = {**environment, "LD_LIBRARY_PATH": folder}
            font = jv("font", "DejaVu Sans", "12", env=alone)
            self.assertEqual(font.returncode, 3)
            self.assertIn(b"fonts cannot be looked up", font.stderr)
            size = jv("text-size", "--width", "100", "text", env=alone)
            self.assertEqual((size.returncode, size.stdout), (3, b""))
            self.assertIn(b"fonts cannot be looked up", size.stderr)


class TextSize(unittest.TestCase):
    def test_sizes(self):
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
                result = jv("text-size", *arguments, input=text)
                self.assertEqual((result.returncode, result.stderr), (0, b""))
                self.assertEqual(result.stdout.decode().strip(), expected)

    def test_json(self):
        size = json.loads(jv("text-size", "--width", "100", "--json", "Hello").stdout)
        self.assertEqual(size, {"width": 100, "height": 13.96875})

    def test_no_fonts(self):
        with tempfile.TemporaryDirectory() as folder:
            none = {**os.environ, **with_fonts.environment(folder, ())}
            for arguments in (["font", "DejaVu Sans", "12"], ["text-size", "--width", "100", "text"],
                              ["text-size", "--width", "100", "--font", "DejaVu Sans", "text"]):
                with self.subTest(arguments):
                    result = jv(*arguments, env=none)
                    self.assertEqual((result.returncode, result.stdout), (3, b""))
                    self.assertIn(b"there are no fonts", result.stderr)


if with_fonts.missing():
    print("skipped, not installed:", *with_fonts.missing())
    sys.exit(with_fonts.SKIPPED)
unittest.main()
