"""consumer_cmake.py PREFIX BUILD LANGUAGE C-COMPILER CXX-COMPILER PROGRAM…: a project of a client finds the package
with CMake, builds and passes its tests, at each level of LANGUAGE and with each compiler. With LANGUAGE C it has no C++
compiler; with CXX it builds both kinds of program."""

import os
import shutil
import sys

from support import compilers, output_of

# Without a level the package asks for the one that it needs.
LEVELS = {"C": ["11"], "CXX": [None, "20", "23"]}

prefix, build, language, *own, programs = *sys.argv[1:6], sys.argv[6:]
if language == "C":
    programs = [program for program in programs if program.endswith(".c")]
consumer = os.path.join(os.path.dirname(os.path.abspath(__file__)), "consumer")
languages = ["C"] if language == "C" else ["C", "CXX"]
shutil.rmtree(build, ignore_errors=True)
for pair in compilers(*own):
    for level in LEVELS[language]:
        folder = os.path.join(build, f"{os.path.basename(pair[0])}-{level}")
        options = [f"-DCMAKE_{name}_COMPILER={compiler}" for name, compiler in zip(languages, pair)]
        if level:
            options += [f"-DCMAKE_{language}_STANDARD={level}", f"-DCMAKE_{language}_STANDARD_REQUIRED=ON",
                        f"-DCMAKE_{language}_EXTENSIONS=OFF"]
        output_of(
            "cmake", "-S", consumer, "-B", folder, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCONSUMER_LANGUAGES={';'.join(languages)}",
            f"-DCONSUMER_PROGRAMS={';'.join(programs)}", *options,
        )
        output_of("cmake", "--build", folder)
        output_of("ctest", "--test-dir", folder, "--output-on-failure", "--no-tests=error", env={"LD_LIBRARY_PATH": ""})
