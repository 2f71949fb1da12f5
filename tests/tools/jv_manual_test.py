"""jv_manual_test.py JV: the manual page and the shell completion know every command and option that jv has."""

import pathlib
import re
import shutil
import subprocess
import sys

jv = sys.argv[1]
folder = pathlib.Path(__file__).resolve().parents[2] / "tools/jv"
page = (folder / "jv.1").read_text()
failures = []


def help_of(*command):
    return subprocess.run([jv, *command, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout


def below(title, text):
    """The first words of the indented lines below @title."""
    block = re.search(rf"^{title}\n((?:  .*\n|\n)*)", text, re.M)
    return re.findall(r"^  ([^ ].*?)(?: .*)?$", block[1], re.M) if block else []


def completed(*words):
    script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _jv; printf '%s\\n' "${COMPREPLY[@]}" """
    done = subprocess.run(
        ["bash", "-c", script, "-", folder / "jv.bash-completion", jv, *words],
        stdout=subprocess.PIPE, text=True, check=True,
    )
    return set(done.stdout.split())


def check(*command):
    text = help_of(*command)
    options = {o for name in below("Options:", text) for o in name.split(",") if o.startswith("--")}
    names = set(below("Subcommands:", text))
    for option in options - {"--help"}:
        if option.replace("--", r"\-", 1) not in page:
            failures.append(f"jv.1 lacks {option} of {command}")
    for name in names:
        if not re.search(rf"^\.(?:It )?(?:Cm|Nm).*\b{name}\b", page, re.M):
            failures.append(f"jv.1 lacks the command {name}")
    if names and completed(*command, "") != names:
        failures.append(f"completed behind {command}: {sorted(completed(*command, ''))}")
    if not options <= completed(*command, "--"):
        failures.append(f"not completed behind {command}: {sorted(options - completed(*command, '--'))}")
    for name in names:
        check(*command, name)


check()
if shutil.which("man"):
    failures += subprocess.run(
        ["man", "--warnings", "-l", folder / "jv.1"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=True
    ).stderr.splitlines()
sys.exit("\n".join(failures) if failures else 0)
