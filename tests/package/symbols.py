"""symbols.py LIBRARY LIST: the library exports exactly the names in LIST.
symbols.py LIBRARY: prints the list, with how to write it anew in the first line."""

import sys

from support import output_of, report

HEADER = "# Made by: python3 tests/package/symbols.py build/release/libJorvaneFoundation.so >abi/symbols.txt"
NODE = "@@JORVANEFOUNDATION_1"


def exported(library):
    """Demangled, so that the variants of a constructor are one name; each bears the version node."""
    names, strays = set(), set()
    for line in output_of("nm", "--dynamic", "--defined-only", "--demangle", library).splitlines():
        _, kind, name = line.split(" ", 2)
        if kind != "A":  # the version node itself
            (names if name.endswith(NODE) else strays).add(name.removesuffix(NODE))
    if strays:
        sys.exit(f"without {NODE}: {sorted(strays)}")
    return names


def main(library, listed=None):
    names = exported(library)
    if listed is None:
        print("\n".join([HEADER, *sorted(names)]))
        return
    with open(listed, encoding="utf-8") as file:
        expected = {line for line in file.read().splitlines() if not line.startswith("#")}
    failures = [f"new:  {name}" for name in sorted(names - expected)]
    failures += [f"gone: {name}" for name in sorted(expected - names)]
    report(failures + [HEADER] if failures else [])


main(*sys.argv[1:])
