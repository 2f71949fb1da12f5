"""What the tests of the package share: running a program, and failing with a message."""

import os
import shutil
import subprocess
import sys


def output_of(*command, **options):
    """Standard output of a program that must succeed; its own words are the message when it does not."""
    # Other locales translate what the programs print.
    environment = {**os.environ, "LC_ALL": "C.UTF-8", **options.pop("env", {})}
    done = subprocess.run(
        command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options
    )
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: exit status {done.returncode}\n{done.stdout}")
    return done.stdout


def compilers(*own):
    """Pairs of a C and a C++ compiler: the @own one, and those of both families that the machine has."""
    pairs = own, ("gcc", "g++"), ("clang-19", "clang++-19")
    return list({shutil.which(pair[1]): pair for pair in pairs if shutil.which(pair[1])}.values())


def report(failures):
    """Ends the test: with the failures, one a line, or silently."""
    sys.exit("\n".join(failures) if failures else 0)
