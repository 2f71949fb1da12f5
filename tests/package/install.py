"""install.py BUILD SOURCE TARGET: installs the package, moves the tree to TARGET, and finds no trace of where it
was."""

import os
import pathlib
import shutil
import sys

from support import output_of, report

build, source, target = sys.argv[1:]
first = target + ".first"
for folder in (first, target):
    shutil.rmtree(folder, ignore_errors=True)
output_of("cmake", "--install", build, "--prefix", first)
os.rename(first, target)

failures = []
for file in sorted(pathlib.Path(target).rglob("*")):
    if file.is_file() and file.suffix in (".h", ".cmake", ".pc"):
        text = file.read_text(encoding="utf-8")
        failures += [f"{file} names {folder}" for folder in (first, build, source) if folder in text]
report(failures)
