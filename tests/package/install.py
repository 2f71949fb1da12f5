"""install.py BUILD SOURCE TARGET LIBDIR HEADER…: installs the package with the public headers, all of it and nothing
else; moves the tree to TARGET, and finds no trace of where it was."""

import os
import pathlib
import shutil
import sys

from support import output_of, report

# The folder of the libraries is LIB here. Modules and the tool are left out where a build has none.
FILES = {
    "LIB/libJorvaneFoundation.so", "LIB/libJorvaneFoundation.so.1", "LIB/libJorvaneFoundation.so.1.0.0",
    "LIB/pkgconfig/JorvaneFoundation.pc",
    *(f"LIB/cmake/JorvaneFoundation/JorvaneFoundation{name}.cmake"
      for name in ("Config", "ConfigVersion", "Targets", "Targets-release")),
    "include/JorvaneFoundation/JorvaneFoundation.h",
}
TOOL = {
    "bin/jv", "share/man/man1/jv.1", "share/bash-completion/completions/jv", "share/zsh/site-functions/_jv",
    "share/fish/vendor_completions.d/jv.fish",
}
MODULES = {f"LIB/JorvaneFoundation/{name}.so" for name in ("bus", "fonts", "text", "vault", "wayland", "x11")}

build, source, target, libdir, *headers = sys.argv[1:]
first = target + ".first"
for folder in (first, target):
    shutil.rmtree(folder, ignore_errors=True)
output_of("cmake", "--install", build, "--prefix", first)
os.rename(first, target)

installed = {
    str(file.relative_to(target)).replace(f"{libdir}/", "LIB/", 1)
    for file in pathlib.Path(target).rglob("*") if not file.is_dir()
}
wanted = FILES | {f"include/JorvaneFoundation/{header}" for header in headers}
failures = [f"{file} is not installed" for file in sorted(wanted - installed)]
failures += [f"{file} is installed" for file in sorted(installed - wanted - TOOL - MODULES)]
if installed & TOOL:
    failures += [f"{file} is not installed" for file in sorted(TOOL - installed)]
for file in sorted(pathlib.Path(target).rglob("*")):
    if file.is_file() and file.suffix in (".h", ".cmake", ".pc"):
        text = file.read_text(encoding="utf-8")
        failures += [f"{file} names {folder}" for folder in (first, build, source) if folder in text]
report(failures)
