"""jv_manual_test.py JV: the manual page and the completions of the shells know every command and option that jv has."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

jv = sys.argv[1]
folder = pathlib.Path(__file__).resolve().parents[2] / "tools/jv"
file = str(folder / "jv.bash-completion")
failures = []

# Each prints what completes the last of its words, which the first one is the program of.
BASH = f"""source {shlex.quote(file)}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _jv; printf '%s\\n' "${{COMPREPLY[@]}}" """
FISH = f"""source {shlex.quote(str(folder / 'jv.fish'))}; complete -C "$argv" | cut -f1"""
ZSH = f"""_describe() {{ local all=$@[-1]; print -rl -- ${{${{(M)${{(P)all}}:#$words[CURRENT]*}}%%:*}} }}
_files() {{ print -rl -- $words[CURRENT]*(N) }}
words=("$@"); CURRENT=$#; source {shlex.quote(str(folder / 'jv.zsh'))}"""
SHELLS = {"bash": ["-c", BASH, "-"], "fish": ["--no-config", "-c", FISH], "zsh": ["-f", "-c", ZSH, "-"]}


def output_of(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, timeout=120, **options).stdout


def below(title, text):
    """The first words of the indented lines below @title."""
    block = re.search(rf"^{title}\n((?:  .*\n|\n)*)", text, re.M)
    return re.findall(r"^  ([^ ].*?)(?: .*)?$", block[1], re.M) if block else []


def commands(*command):
    """Each command, as a tuple of words, with its options and its subcommands."""
    text = output_of(jv, *command, "--help")
    options = {o for name in below("Options:", text) for o in name.split(",")}
    names = set(below("Subcommands:", text))
    yield command, options, names
    for name in names:
        yield from commands(*command, name)


def check_page(known):
    page = (folder / "jv.1").read_text()
    for command, options, names in known:
        for option in options - {"--help", "-h"}:
            if option.startswith("--") and option.replace("--", r"\-", 1) not in page:
                failures.append(f"jv.1 lacks {option} of {command}")
        for name in names:
            if not re.search(rf"^\.(?:It )?(?:Cm|Nm).*\b{name}\b", page, re.M):
                failures.append(f"jv.1 lacks the command {name}")


def check_completion(shell, known):
    """Completes a command's subcommands, all that begins like its first one, and its options."""
    path = {**os.environ, "HOME": os.devnull, "PATH": f"{os.path.dirname(jv)}:{os.environ['PATH']}"}

    def expect(line, expected):
        found = output_of(shell, *SHELLS[shell], "jv", *line, env=path).splitlines()
        if set(found) - {""} != expected:
            failures.append(f"{shell} completes {line} to {found}, not to {sorted(expected)}")

    for command, options, names in known:
        if names:
            start = min(names)[:2]
            expect((*command, start), {name for name in names if name.startswith(start)})
        expect((*command, "-"), options)
    for line in ("run", "--", file[:-3]), ("encoding", file[:-3]):
        expect(line, {file})


known = list(commands())
check_page(known)
missing = [shell for shell in SHELLS if not shutil.which(shell)]
for shell in SHELLS:
    if shell not in missing:
        check_completion(shell, known)
if failures:
    sys.exit("\n".join(failures))
if missing:
    print("not tried, since they are not installed:", *missing)
    sys.exit(77)
