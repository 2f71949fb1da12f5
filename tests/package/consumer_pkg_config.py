"""consumer_pkg_config.py LIBDIR BUILD C-COMPILER CXX-COMPILER PROGRAM…: programs in C and C++ build with what
pkg-config says, and run. Each is linked at a fixed address and position-independent: the linker moves exported data
differently."""

import os
import pathlib
import sys

from support import output_of

libdir, build, c_compiler, cxx_compiler, *programs = sys.argv[1:]
os.makedirs(build, exist_ok=True)
consumer = pathlib.Path(__file__).resolve().parent / "consumer"
# Nothing but the installed tree, so that no other copy can be found.
found = {"PKG_CONFIG_LIBDIR": os.path.join(libdir, "pkgconfig"), "PKG_CONFIG_PATH": ""}
flags = {what: output_of("pkg-config", what, "JorvaneFoundation", env=found).split() for what in ("--cflags", "--libs")}

for source in (consumer / program for program in programs):
    compiler = [c_compiler, "-std=c11"] if source.suffix == ".c" else [cxx_compiler, "-std=c++20"]
    for position in (["-fPIE", "-pie"], ["-fno-pie", "-no-pie"]):
        program = os.path.join(build, source.stem + source.suffix[1:] + position[-1])
        output_of(*compiler, *position, *flags["--cflags"], source, "-o", program, *flags["--libs"])
        output_of(program, env={"LD_LIBRARY_PATH": libdir})
