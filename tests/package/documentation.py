"""documentation.py SOURCE PREFIX LIBDIR BUILD CXX-COMPILER: what the documentation shows works as it says.

Every whole program (a cpp block with a main function) builds against the installed package, and ends with exit status 0
when it is given the name of its own source. Every sh block runs, but for what only a user ends. A text block that comes
next, with at most one line in between, is what they print. Parts of programs are left alone.

They run with a screen, a password service and fonts, all private; the test is skipped where one cannot be had."""

import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from support import output_of, report

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import processes  # noqa: E402
import with_fonts  # noqa: E402
from desktop import password_service  # noqa: E402
from x_server import XServer  # noqa: E402

SKIPPED = 77
BLOCK = re.compile(r"^```(cpp|sh)\n(.*?)^```\n(?:\n(?:[^`\n][^\n]*\n\n)?```text\n(.*?)^```$)?", re.S | re.M)
ENDLESS = "jv watch"
SHIFT_JIS = "日本語の手紙です。\r\n".encode("shift_jis")


def blocks(pages):
    """Each program and each run of the shell: page, kind, text, and what it prints or None."""
    for page in pages:
        for kind, text, output in BLOCK.findall(page.read_text(encoding="utf-8")):
            if kind == "sh" or re.search(r"^int main\(", text, re.MULTILINE):
                yield page, kind, text, output or None


def build(number, block, folder, compiler, flags):
    """The command that runs the block."""
    page, kind, text, _ = block
    if kind == "sh":
        lines = [line for line in text.splitlines() if not line.startswith(ENDLESS)]
        return ["bash", "-euo", "pipefail", "-c", "\n".join(lines)]
    source = pathlib.Path(folder, str(number), f"{page.stem.lower()}.cpp")
    source.parent.mkdir()
    source.write_text(text, encoding="utf-8")
    program = source.with_suffix("")
    output_of(compiler, "-std=c++20", "-Wall", "-Wextra", "-Werror", source, "-o", program, *flags, "-pthread")
    return [program, source.name]


def run(block, command, environment):
    """What is wrong with the block when it runs; None when nothing is."""
    page, kind, text, expected = block
    folder = command[0].parent if kind == "cpp" else environment["TMPDIR"]
    done = subprocess.run(command, env=environment, cwd=folder, timeout=60, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8", check=False)
    if done.returncode == 0 and expected in (None, done.stdout):
        return None
    return f"{page}:\n{text}ended with {done.returncode}, not as the page says:\n{done.stdout}{done.stderr}"


def main(source, prefix, libdir, folder, compiler):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    found = {"PKG_CONFIG_LIBDIR": os.path.join(libdir, "pkgconfig"), "PKG_CONFIG_PATH": ""}
    flags = output_of("pkg-config", "--cflags", "--libs", "JorvaneFoundation", env=found).split()
    shown = list(blocks([pathlib.Path(source, "README.md"), *sorted(pathlib.Path(source, "docs").glob("*.md"))]))
    if len({page for page, kind, _, _ in shown if kind == "cpp"}) < 2 or not any(output for *_, output in shown):
        sys.exit("found no programs in the documentation, or none with its output")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        commands = list(pool.map(lambda each: build(*each, folder, compiler, flags), enumerate(shown)))

    with XServer("1440x900+0+0") as screen, password_service() as service, tempfile.TemporaryDirectory() as temporary:
        # The longer runs of the shell take these.
        pathlib.Path(temporary, "letter.txt").write_bytes(SHIFT_JIS)
        pathlib.Path(temporary, "passphrase").write_text("correct horse\n")
        environment = {**os.environ, **screen.environment, **service, **with_fonts.environment(temporary),
                       "LD_LIBRARY_PATH": libdir, "TMPDIR": temporary, "TOKEN": "token",
                       "PATH": f"{prefix}/bin:{os.environ['PATH']}"}
        environment.pop("WAYLAND_DISPLAY", None)
        report([wrong for wrong in (run(*each, environment) for each in zip(shown, commands)) if wrong])


try:
    if with_fonts.missing():
        raise processes.Missing(" ".join(with_fonts.missing()))
    main(*sys.argv[1:])
except processes.Missing as missing:
    print(f"skipped: {missing}", file=sys.stderr)
    sys.exit(SKIPPED)
