"""tool.py JV LIBDIR: the installed tool runs, and looks for the library in LIBDIR, named from where it stands
itself."""

import os
import re
import sys

from support import output_of

tool, libdir = sys.argv[1:]
if "jv" not in output_of(tool, "--help", env={"LD_LIBRARY_PATH": ""}):
    sys.exit("no help")
(path,) = re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", output_of("readelf", "--dynamic", "--wide", tool)) or [""]
if not path.startswith("$ORIGIN/") or not os.path.samefile(path.replace("$ORIGIN", os.path.dirname(tool)), libdir):
    sys.exit(f"looks for the library in {path!r}, not in {libdir}")
