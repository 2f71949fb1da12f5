#!/usr/bin/env python3
"""Makes code_tables.cpp: which pairs of bytes are characters, encoding by encoding.

The C library's converters are asked about every pair, and Perl's Encode about the encodings that the C library lacks.
Without arguments the file beside this script is written; with --check it is compared (exit status 1 when it differs,
77 when a converter is missing here).
"""

import ctypes
import pathlib
import subprocess
import sys

OUTPUT = pathlib.Path(__file__).with_name("code_tables.cpp")
LEADS = range(0x80, 0x100)
TRAILS = range(0x40, 0x100)
PLANES = range(0xA1, 0xB0)


class ConverterMissing(Exception):
    pass


def is_user_defined(text):
    return any(0xE000 <= ord(character) <= 0xF8FF for character in text)


class LibraryConverter:
    """A converter of the C library: bytes to text, None for what is no character."""

    def __init__(self, name):
        self.libc = ctypes.CDLL(None)
        self.libc.iconv_open.restype = ctypes.c_void_p
        self.libc.iconv.restype = ctypes.c_size_t
        self.libc.iconv.argtypes = [ctypes.c_void_p] + 2 * [ctypes.c_void_p, ctypes.POINTER(ctypes.c_size_t)]
        self.descriptor = self.libc.iconv_open(b"UTF-32LE", name.encode())
        if self.descriptor == ctypes.c_void_p(-1).value:
            raise ConverterMissing(name)

    def decode(self, code):
        self.libc.iconv(self.descriptor, None, None, None, None)
        output = ctypes.create_string_buffer(32)
        source, left = ctypes.c_char_p(code), ctypes.c_size_t(len(code))
        target, room = ctypes.cast(output, ctypes.c_char_p), ctypes.c_size_t(len(output))
        step = self.libc.iconv(self.descriptor, ctypes.byref(source), left, ctypes.byref(target), room)
        if step == ctypes.c_size_t(-1).value or left.value:
            return None
        # Some converters hold a character back until they know that no combining mark follows.
        self.libc.iconv(self.descriptor, None, None, ctypes.byref(target), room)
        return output.raw[: len(output) - room.value].decode("utf-32-le")


def library(name, prefix=b""):
    """The pairs behind `prefix` that the C library's converter `name` takes for one character each. User-defined areas,
    which it maps to the private use area, are left out."""
    converter = LibraryConverter(name)
    pairs = set()
    for lead in LEADS:
        if not prefix and converter.decode(bytes([lead])) is not None:
            continue  # a character by itself
        for trail in TRAILS:
            text = converter.decode(prefix + bytes([lead, trail]))
            if text and not is_user_defined(text):
                pairs.add((lead, trail))
    return pairs


PERL = r"""
use Encode;
my $name = shift;
defined find_encoding($name) or exit 77;
sub decoded {
  my $bytes = shift;
  my $text = eval { decode($name, $bytes, Encode::FB_CROAK) };
  return length($bytes) == 0 ? $text : undef;
}
for my $lead (0x80 .. 0xFF) {
  next if defined decoded(chr $lead);
  for my $trail (0x40 .. 0xFF) {
    my $text = decoded(chr($lead) . chr($trail));
    printf "%d %d %s\n", $lead, $trail, join ",", map { ord } split //, $text if defined $text && length $text;
  }
}
"""


def perl(name, user_defined=False):
    """The pairs that Perl's encoding `name` takes for one character each. With `user_defined` also those that it maps
    to the private use area, which is where characters go that only the vendor of the encoding has."""
    try:
        answer = subprocess.run(["perl", "-e", PERL, name], capture_output=True, check=True, text=True)
    except (OSError, subprocess.CalledProcessError) as error:
        raise ConverterMissing(f"Perl: {name}") from error
    pairs = set()
    for line in answer.stdout.splitlines():
        lead, trail, text = line.split(" ")
        if user_defined or not is_user_defined(map(chr, map(int, text.split(",")))):
            pairs.add((int(lead), int(trail)))
    return pairs


def extended_unix_code(pairs):
    """The characters of Shift_JIS code `pairs` that have a row of 1 to 94, by their row and cell, A1 to FE each."""
    moved = set()
    for lead, trail in pairs:
        row = (lead - (0x81 if lead < 0xA0 else 0xC1)) * 2
        cell = trail - (0x40 if trail < 0x7F else 0x41)
        row, cell = row + cell // 94, cell % 94
        if row < 94:
            moved.add((0xA1 + row, 0xA1 + cell))
    return moved


def tables():
    """Name, what it holds, and the pairs of each table."""
    code_page_932 = library("CP932")
    jis_x_0208 = extended_unix_code(code_page_932)
    jis_x_0212 = library("EUC-JP", b"\x8F")
    jis_x_0213_plane_1 = {pair for pair in library("EUC-JISX0213") if pair[0] != 0x8E}
    jis_x_0213_plane_2 = library("EUC-JISX0213", b"\x8F")
    half_width_katakana = {pair for pair in library("EUC-JP") if pair[0] == 0x8E}
    ks_x_1001 = library("EUC-KR")
    gb_2312 = library("EUC-CN")
    return [
        ("kShiftJis", "Mac Japanese and code page 932",
         [code_page_932 | library("SHIFT_JIS") | perl("MacJapanese", True)]),
        ("kEucJp", "EUC-JP, code sets 1 and 2",
         [jis_x_0208 | library("EUC-JP") | library("EUC-JP-MS") | jis_x_0213_plane_1 | half_width_katakana]),
        ("kEucJpCodeSet3", "EUC-JP behind 8F",
         [jis_x_0212 | jis_x_0213_plane_2 | library("EUC-JP-MS", b"\x8F")]),
        ("kJisX0208", "JIS X 0208 with the vendor rows of code page 932", [jis_x_0208]),
        ("kJisX0212", "JIS X 0212", [jis_x_0212]),
        ("kJisX0213Plane1", "JIS X 0213, plane 1", [jis_x_0213_plane_1]),
        ("kJisX0213Plane2", "JIS X 0213, plane 2", [jis_x_0213_plane_2]),
        ("kMacChineseTrad", "Mac traditional Chinese and code page 950",
         [perl("MacChineseTrad", True) | perl("cp950")]),
        ("kBig5", "Big5 with the ETEN extensions", [library("BIG5") | perl("big5-eten", True)]),
        ("kEucTw", "EUC-TW, code set 1", [library("EUC-TW")]),
        ("kEucTwPlanes", "EUC-TW behind 8E A1 to 8E AF",
         [library("EUC-TW", bytes([0x8E, plane])) for plane in PLANES]),
        ("kMacKorean", "Mac Korean and code page 949",
         [ks_x_1001 | library("UHC") | perl("MacKorean", True)]),
        ("kKsX1001", "KS X 1001", [ks_x_1001]),
        ("kMacChineseSimp", "Mac simplified Chinese and code page 936",
         [gb_2312 | library("GBK") | perl("cp936") | perl("MacChineseSimp", True)]),
        ("kGb2312", "GB 2312", [gb_2312]),
    ]


class RowPool:
    """The rows that occur, each once. The empty row comes first."""

    def __init__(self):
        self.numbers = {(0, 0, 0): 0}

    def number(self, trails):
        bits = sum(1 << (trail - TRAILS.start) for trail in trails)
        row = tuple(bits >> shift & (1 << 64) - 1 for shift in (0, 64, 128))
        return self.numbers.setdefault(row, len(self.numbers))

    def table(self, pairs):
        trails = {lead: [] for lead in LEADS}
        for lead, trail in pairs:
            trails[lead].append(trail)
        return [self.number(trails[lead]) for lead in LEADS]


def grid(numbers):
    lines = [numbers[first : first + 16] for first in range(0, len(numbers), 16)]
    return "\n".join("    " + ", ".join(f"{number:3}" for number in line) + "," for line in lines)


def source():
    pool = RowPool()
    parts = []
    for name, what, members in tables():
        grids = [grid(pool.table(pairs)) for pairs in members]
        if len(grids) == 1:
            parts.append(f"// {what}\nconst CodeTable {name} = {{{{\n{grids[0]}\n}}}};\n")
        else:
            body = "".join("  {{\n" + lines + "\n  }},\n" for lines in grids)
            parts.append(f"// {what}\nconst CodeTable {name}[{len(grids)}] = {{\n{body}}};\n")
    rows = "".join("    {{" + ", ".join(f"0x{word:016X}" for word in row) + "}},\n" for row in pool.numbers)
    return f"""// Made by `python3 platform/linux/text_sniffer/generate_code_tables.py`. Not to be edited.
#include "platform/linux/text_sniffer/code_tables.h"

namespace jv::sniffing {{

// clang-format off
const CodeRow kCodeRows[{len(pool.numbers)}] = {{
{rows}}};

""" + "\n".join(parts) + """// clang-format on

}  // namespace jv::sniffing
"""


def main():
    try:
        text = source()
    except ConverterMissing as missing:
        print(f"No converter here for {missing}", file=sys.stderr)
        return 77
    if sys.argv[1:] == ["--check"]:
        return 0 if OUTPUT.read_text() == text else 1
    OUTPUT.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
