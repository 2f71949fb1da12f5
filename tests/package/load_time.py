"""load_time.py LIBRARY COMPILER: loading the library runs no code of ours: no static constructor, no static destructor,
no resolver that picks a function. COMPILER makes a library that does all of it, to see that it would be noticed."""

import os
import re
import sys
import tempfile

from support import output_of, report

# What the compiler's own start files put there. Both do nothing in a library without frames or clones to register.
OF_THE_COMPILER = {".init_array": {"frame_dummy"}, ".fini_array": {"__do_global_dtors_aux"}}

GUILTY = """
#include <string>
std::string constructed(1000, 'x');
static int one() { return 1; }
extern "C" int (*resolve())() { return one; }
extern "C" int resolved() __attribute__((ifunc("resolve")));
"""


def at_load_time(library):
    """What of ours runs when @library is loaded or unloaded, as texts."""
    symbols = output_of("nm", "--defined-only", library).splitlines()
    functions = {}
    for line in symbols:
        value, kind, name = line.split(" ", 2)
        functions.setdefault(int(value, 16), set()).add(name)
    if not any("frame_dummy" in names for names in functions.values()):
        sys.exit(f"{library} is stripped: nothing can be said about it")

    found = [f"picks at load time: {line.split()[-1]}" for line in symbols if line.split()[1] == "i"]
    found += [
        f"constructor of {line.split()[-1]}" for line in symbols if line.split()[-1].startswith("_GLOBAL__sub_")
    ]

    relocations = output_of("readelf", "--relocs", "--wide", library)
    pointed = {int(at, 16): int(to, 16) for at, to in re.findall(r"^(\w+) .*_RELATIVE +(\w+)$", relocations, re.M)}
    sections = output_of("readelf", "--section-headers", "--wide", library)
    for name, address, size in re.findall(r"\] (\.\w+) +\w+ +(\w+) \w+ (\w+)", sections):
        if name in (".preinit_array", ".ctors", ".dtors"):
            found.append(f"section {name}")
        if name not in OF_THE_COMPILER:
            continue
        for entry in range(int(address, 16), int(address, 16) + int(size, 16), 8):
            names = functions.get(pointed.get(entry), {f"entry {entry:x}"})
            if not names & OF_THE_COMPILER[name]:
                found.append(f"{name}: {', '.join(sorted(names))}")
    if not all(f" {name} " in sections for name in OF_THE_COMPILER):
        sys.exit(f"cannot read the sections of {library}:\n{sections}")
    return found


library, compiler = sys.argv[1:]
with tempfile.TemporaryDirectory() as folder:
    source, guilty = os.path.join(folder, "guilty.cpp"), os.path.join(folder, "libguilty.so")
    with open(source, "w", encoding="utf-8") as file:
        file.write(GUILTY)
    output_of(compiler, "-shared", "-fPIC", "-O2", "-o", guilty, source)
    noticed = " ".join(at_load_time(guilty))
    for word in (".init_array", "resolved", "_GLOBAL__sub_"):
        if word not in noticed:
            sys.exit(f"{word} goes unnoticed in {noticed!r}")
report(at_load_time(library))
