"""consumer_cmake.py PREFIX BUILD LANGUAGES C-COMPILER CXX-COMPILER PROGRAM…: a project of a client finds the package
with CMake, builds and passes its tests. With LANGUAGES C it has no C++ compiler; with CXX it builds both kinds of
program."""

import os
import shutil
import sys

from support import output_of

prefix, build, languages, c_compiler, cxx_compiler, *programs = sys.argv[1:]
if languages == "C":
    programs = [program for program in programs if program.endswith(".c")]
shutil.rmtree(build, ignore_errors=True)
compilers = {"C": [f"-DCMAKE_C_COMPILER={c_compiler}"]}
compilers["CXX"] = [*compilers["C"], f"-DCMAKE_CXX_COMPILER={cxx_compiler}"]
output_of(
    "cmake", "-S", os.path.join(os.path.dirname(os.path.abspath(__file__)), "consumer"), "-B", build, "-G", "Ninja",
    f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCONSUMER_LANGUAGES={'C' if languages == 'C' else 'C;CXX'}",
    f"-DCONSUMER_PROGRAMS={';'.join(programs)}",
    *compilers[languages],
)
output_of("cmake", "--build", build)
output_of("ctest", "--test-dir", build, "--output-on-failure", "--no-tests=error", env={"LD_LIBRARY_PATH": ""})
