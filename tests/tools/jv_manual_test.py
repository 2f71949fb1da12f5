"""jv_manual_test.py JV: the manual page and the completions of the shells know every command and option that jv has."""

import os
import pathlib
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

jv = sys.argv[1]
folder = pathlib.Path(__file__).resolve().parents[2] / "tools/jv"
file = str(folder / "jv.bash-completion")
page = (folder / "jv.1").read_text()
failures = []
BOUND = 120  # seconds, for whatever ought to end by itself


def output_of(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, timeout=BOUND, **options).stdout


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


def completed_by_bash(lines):
    script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _jv; printf '%s\\n' "${COMPREPLY[@]}" """
    for line in lines:
        yield output_of("bash", "-c", script, "-", file, jv, *line).split()


def completed_by_fish(lines):
    environment = {**os.environ, "HOME": os.devnull, "PATH": f"{os.path.dirname(jv)}:{os.environ['PATH']}"}
    for line in lines:
        script = f"source {shlex.quote(str(folder / 'jv.fish'))}; complete -C 'jv {' '.join(line)}'"
        told = output_of("fish", "--no-config", "-c", script, env=environment)
        yield [match.split("\t")[0] for match in told.splitlines()]


# The line editor completes each line, puts in all that it finds, and prints what the line has become.
ZSHRC = """
fpath=({folder}/functions $fpath)
path=({jv} $path)
autoload -Uz compinit && compinit -u -D
insert_all() {{ compstate[insert]=all }}
zle-line-init() {{
  while IFS= read -r BUFFER; do
    CURSOR=$#BUFFER comppostfuncs=(insert_all)
    zle complete-word
    print -r -- "$BUFFER"
  done <{folder}/lines >{folder}/completed
  exit
}}
zle -N zle-line-init
"""


def completed_by_zsh(lines):
    with tempfile.TemporaryDirectory() as name:
        private = pathlib.Path(name)
        (private / "functions").mkdir()
        shutil.copy(folder / "jv.zsh", private / "functions/_jv")
        (private / "lines").write_text("".join(f"jv {' '.join(line)}\n" for line in lines))
        (private / ".zshrc").write_text(ZSHRC.format(folder=shlex.quote(name), jv=shlex.quote(os.path.dirname(jv))))
        terminal, other = pty.openpty()
        environment = {**os.environ, "ZDOTDIR": name, "HOME": name, "TERM": "dumb"}
        zsh = subprocess.Popen(["zsh", "-i"], stdin=other, stdout=other, stderr=other, env=environment,
                               start_new_session=True)
        os.close(other)
        try:
            while os.read(terminal, 4096):
                pass
        except OSError:  # the other end is closed
            pass
        os.close(terminal)
        zsh.wait(BOUND)
        for line, text in zip(lines, (private / "completed").read_text().splitlines()):
            yield text.split()[len(line):]


def check_page(known):
    for command, options, names in known:
        for option in options - {"--help", "-h"}:
            if option.startswith("--") and option.replace("--", r"\-", 1) not in page:
                failures.append(f"jv.1 lacks {option} of {command}")
        for name in names:
            if not re.search(rf"^\.(?:It )?(?:Cm|Nm).*\b{name}\b", page, re.M):
                failures.append(f"jv.1 lacks the command {name}")
    if shutil.which("man"):
        shown = subprocess.run(["man", "--warnings", "-l", folder / "jv.1"], stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, text=True, check=True)
        failures.extend(shown.stderr.splitlines())


def check_completion(shell, complete, known):
    """Completes a command's subcommands, all that begins like its first one, and its options."""
    lines, wanted = [], []
    for command, options, names in known:
        if names:
            start = min(names)[:2]
            lines += [(*command, ""), (*command, start)]
            wanted += [names, {name for name in names if name.startswith(start)}]
        lines.append((*command, "-"))
        wanted.append(options)
    found = list(complete(lines))
    if len(found) != len(lines):
        failures.append(f"{shell} completed {len(found)} of {len(lines)} lines")
    for line, names, expected in zip(lines, found, wanted):
        if set(names) != expected:
            failures.append(f"{shell} completes {line} to {sorted(names)}, not to {sorted(expected)}")
    for line in ("run", "--", file[:-3]), ("encoding", file[:-3]):
        if list(complete([line])) != [[file]]:
            failures.append(f"{shell} completes no file in {line}")


known = list(commands())
check_page(known)
missing = []
for shell, complete in ("bash", completed_by_bash), ("fish", completed_by_fish), ("zsh", completed_by_zsh):
    if shutil.which(shell):
        check_completion(shell, complete, known)
    else:
        missing.append(shell)
if failures:
    sys.exit("\n".join(failures))
if missing:
    print("not tried, since they are not installed:", *missing)
    sys.exit(77)
