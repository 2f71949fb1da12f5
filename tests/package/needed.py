"""needed.py LIBRARY VERSION: the library needs the C++ run-time and libc alone, and bears the right names."""

import os
import re
import sys

from support import output_of, report

ALLOWED = {"libstdc++.so.6", "libgcc_s.so.1", "libm.so.6", "libc.so.6", "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"}
REQUIRED = {"libstdc++.so.6", "libc.so.6"}  # without them readelf's words have changed

library, version = sys.argv[1:]
dynamic = output_of("readelf", "--dynamic", "--wide", library)
needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
soname = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic)

failures = [f"needs {name}" for name in sorted(needed - ALLOWED)]
failures += [f"does not need {name}" for name in sorted(REQUIRED - needed)]
failures += [f"searches {path}" for path in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic)]

major = version.split(".")[0]
if soname != [f"libJorvaneFoundation.so.{major}"]:
    failures.append(f"soname {soname}")
if os.path.basename(library) != f"libJorvaneFoundation.so.{version}":
    failures.append(f"file name {library}")
folder = os.path.dirname(library)
for link in (f"libJorvaneFoundation.so.{major}", "libJorvaneFoundation.so"):
    if not os.path.samefile(os.path.join(folder, link), library):
        failures.append(f"{link} leads elsewhere")
report(failures)
