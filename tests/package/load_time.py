"""load_time.py LIBRARY: loading the library runs no code of ours: no static constructor, no static destructor, no
resolver that picks a function."""

import re
import sys

from support import output_of, report

# The compiler's own start files put one pointer into each; both do nothing in a library without frames to register.
OF_THE_COMPILER = {".init_array", ".fini_array"}
POINTER = 8

library = sys.argv[1]
sections = output_of("readelf", "--section-headers", "--wide", library)
sizes = {name: int(size, 16) for name, size in re.findall(r"\] (\.\w+) +\w+ +\w+ \w+ (\w+)", sections)}
failures = [f"section {name} has {sizes.get(name)} bytes, not {POINTER}"
            for name in sorted(OF_THE_COMPILER) if sizes.get(name) != POINTER]
failures += [f"section {name}" for name in (".preinit_array", ".ctors", ".dtors") if name in sizes]
picked = output_of("readelf", "--relocs", "--symbols", "--wide", library)
failures += [f"picks at load time: {line}" for line in picked.splitlines() if re.search(r"IRELATIV|\bIFUNC\b", line)]
report(failures)
