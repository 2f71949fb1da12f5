"""headers.py INCLUDE C-HEADER…: every installed header compiles alone and without warnings, as C++20 by g++ and as C++23
by clang, and those for C and the umbrella as C11 by both, as far as the machine has them."""

import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys

from support import report

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]
COMPILERS = [
    ("g++", "c++", ["-std=c++20"]),
    ("clang++-19", "c++", ["-std=c++23"]),
    ("gcc", "c", ["-std=c11", "-pedantic-errors"]),
    ("clang-19", "c", ["-std=c11", "-pedantic-errors"]),
]

include = pathlib.Path(sys.argv[1])
top = include / "JorvaneFoundation"
umbrella = "JorvaneFoundation.h"
headers = {
    "c++": sorted(file.relative_to(top).as_posix() for file in top.rglob("*.h")),
    "c": [umbrella, *sys.argv[2:]],
}


def compile_alone(job):
    compiler, language, options, header = job
    # A token behind it, since C wants one in a file.
    text = f"#include <JorvaneFoundation/{header}>\nextern int done;\n"
    command = [compiler, "-x", language, *options, *WARNINGS, "-fsyntax-only", f"-I{include}", "-"]
    done = subprocess.run(command, input=text, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return f"{header}: {' '.join(command)}\n{done.stdout}" if done.returncode != 0 else None


jobs = [
    (compiler, language, options, header)
    for compiler, language, options in COMPILERS
    if shutil.which(compiler)
    for header in headers[language]
]
if umbrella not in headers["c++"] or not jobs:
    sys.exit(f"no headers under {top}, or no compiler")
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    report([failure for failure in pool.map(compile_alone, jobs) if failure])
