"""consumer_pkg_config.py LIBDIR BUILD C-COMPILER CXX-COMPILER PROGRAM…: programs in C and C++ build with what
pkg-config says, and run, at each level of the language and with each compiler. Each is position-independent, and at its
lowest level linked at a fixed address too: the linker moves exported data differently."""

import concurrent.futures
import os
import pathlib
import sys

from support import compilers, output_of

LEVELS = {".c": ["-std=c11"], ".cpp": ["-std=c++20", "-std=c++23"]}
ANYWHERE, FIXED = ["-fPIE", "-pie"], ["-fno-pie", "-no-pie"]

libdir, build, *own, programs = *sys.argv[1:5], sys.argv[5:]
consumer = pathlib.Path(__file__).resolve().parent / "consumer"
# Nothing but the installed tree, so that no other copy can be found.
found = {"PKG_CONFIG_LIBDIR": os.path.join(libdir, "pkgconfig"), "PKG_CONFIG_PATH": ""}
flags = {what: output_of("pkg-config", what, "JorvaneFoundation", env=found).split() for what in ("--cflags", "--libs")}


def build_and_run(number, compiler, level, position, source):
    program = os.path.join(build, str(number))
    output_of(compiler, level, *position, *flags["--cflags"], source, "-o", program, *flags["--libs"])
    output_of(program, env={"LD_LIBRARY_PATH": libdir})


jobs = [
    (pair[source.suffix == ".cpp"], level, position, source)
    for pair in compilers(*own)
    for source in map(consumer.joinpath, programs)
    for level in LEVELS[source.suffix]
    for position in ((ANYWHERE, FIXED) if level == LEVELS[source.suffix][0] else (ANYWHERE,))
]
os.makedirs(build, exist_ok=True)
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    list(pool.map(lambda job: build_and_run(job[0], *job[1]), enumerate(jobs)))
