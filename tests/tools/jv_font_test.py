"""jv_font_test.py JV [sanitized]: `jv font` and `jv text-size` as people and scripts use them, with fonts that are known."""

import json
import os
import sys

from support import SANITIZED, ToolTest, jv, main
import with_fonts


class Fonts(ToolTest):
    def setUp(self):
        super().setUp()
        self.environment = {**os.environ, **with_fonts.environment(self.folder)}

    def jv(self, *arguments, **options):
        return jv(*arguments, **{"env": self.environment, **options})

    def test_fonts(self):
        result = self.jv("font", "DejaVu Sans Bold", "12", "--json")
        self.assertEqual((result.returncode, result.stderr, result.stdout.count(b"\n")), (0, b"", 1))
        font = json.loads(result.stdout)
        self.assertAlmostEqual(font["lineHeight"], 13.96875)
        expected = {"name": "DejaVuSans-Bold", "family": "DejaVu Sans", "displayName": "DejaVu Sans Bold",
                    "fullDisplayName": "DejaVu Sans - 12.0", "pointSize": 12}
        self.assertEqual(font, {**font, **expected})
        lines = self.jv("font", "DejaVuSans-Oblique", "12.5", "--variant", "bold-italic").stdout.splitlines()
        self.assertEqual(lines[0], b"name         DejaVuSans-BoldOblique")

    def test_sizes_of_texts(self):
        for why, arguments, text, expected in [
            ("several lines", ["--width", "40", "Hello wide world"], b"", "40 x 41.9062"),
            ("another font", ["--width", "inf", "--font", "Liberation Sans", "--size", "24", "Hello"], b"", "inf x 27.5977"),
            ("standard input", ["--width", "100", "--paragraph-spacing", "5", "-"], b"a\n\xff\0", "100 x 32.9375"),
            ("JSON", ["--width=-1", "--json", "Hello"], b"", '{"width":-1.0,"height":13.96875}'),
        ]:
            with self.subTest(why):
                result = self.jv("text-size", *arguments, input=text)
                self.assertEqual((result.returncode, result.stdout.decode().strip()), (0, expected), result.stderr)

    def test_what_cannot_be_done(self):
        font, size = ["font", "DejaVu Sans", "12"], ["text-size", "--width", "100", "text"]
        (self.folder / "none").mkdir()
        no_fonts = with_fonts.environment(self.folder / "none", ())
        cases = [
            (["font", "No Such Font", "12"], 1, b"No Such Font", {}),
            ([*size, "--font", "No Such Font"], 1, b"No Such Font", {}),
            (font, 3, b"there are no fonts", no_fonts),
            (size, 3, b"there are no fonts", no_fonts),
        ]
        if not SANITIZED:  # the sanitizer would have to be found first
            alone = self.without_modules()
            cases += [(command, 3, b"fonts cannot be looked up", alone) for command in (font, size)]
        for arguments, status, complaint, environment in cases:
            with self.subTest(arguments=arguments):
                result = self.jv(*arguments, env={**self.environment, **environment})
                self.assertEqual((result.returncode, result.stdout), (status, b""))
                self.assertIn(complaint, result.stderr)
        for arguments in font, size:
            self.expect_complaint_when_nobody_reads(*arguments, env=self.environment)

    def test_specimen(self):
        file = self.folder / "F.png"
        self.assertEqual(self.jv("font", "Liberation Serif", "14", "--specimen", file).returncode, 0)
        self.assertEqual(file.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        bad = self.jv("font", "DejaVu Sans", "12", "--specimen", "/no/such/folder/F.png")
        self.assertEqual(bad.returncode, 3)
        self.assertIn(b"cannot write", bad.stderr)


if with_fonts.missing():
    print("skipped, not installed:", *with_fonts.missing())
    sys.exit(with_fonts.SKIPPED)
main()
