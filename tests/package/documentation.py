"""documentation.py SOURCE LIBDIR BUILD CXX-COMPILER: every whole program in the documentation (a cpp block with a main
function) builds against the installed package and ends with exit status 0. Parts of programs are left alone."""

import os
import pathlib
import re
import sys

from support import output_of

source, libdir, build, compiler = sys.argv[1:]
os.makedirs(build, exist_ok=True)
found = {"PKG_CONFIG_LIBDIR": os.path.join(libdir, "pkgconfig"), "PKG_CONFIG_PATH": ""}
flags = output_of("pkg-config", "--cflags", "--libs", "JorvaneFoundation", env=found).split()

pages = [pathlib.Path(source, "README.md"), *sorted(pathlib.Path(source, "docs").glob("*.md"))]
programs = 0
for page in pages:
    for number, block in enumerate(re.findall(r"^```cpp\n(.*?)^```$", page.read_text(), re.DOTALL | re.MULTILINE)):
        if not re.search(r"^int main\(", block, re.MULTILINE):
            continue
        programs += 1
        text = pathlib.Path(build, f"{page.stem}{number}.cpp")
        text.write_text(block)
        program = text.with_suffix("")
        output_of(compiler, "-std=c++20", "-Wall", "-Wextra", "-Werror", text, "-o", program, *flags, "-pthread")
        output_of(program, env={"LD_LIBRARY_PATH": libdir}, cwd=build, timeout=60)
if programs == 0:
    sys.exit("found no program in the documentation")
