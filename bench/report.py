"""report.py BUILD FOLDER [--short]: runs the benchmarks in the build folder BUILD, shows their tables, and writes
FOLDER/report.md: the machine, the tables, and a chart of each. Ends with status 1 when one of them failed."""

import datetime
import json
import os
import pathlib
import platform
import re
import shlex
import subprocess
import sys

import charts

ROOT = pathlib.Path(__file__).resolve().parents[1]
SCREENS = ["1440x900+0+0", "1920x1080+1440+0", "--"]
# A room, its heading, and what each run of its program is started with.
ROOMS = [
    ("encoding", "Encodings of text files", [[]]),
    ("dispatch", "Queues and the main run loop", [[]]),
    ("tasks", "Running tools", [[]]),
    ("keychain", "Passwords", [[]]),
    ("fileevents", "Watching folders", [[]]),
    ("system", "System, machine and user", [[]]),
    ("geometry", "Screens", [[sys.executable, "-B", ROOT / "tests/support" / starter, *SCREENS]
                             for starter in ("x_server.py", "wayland_compositor.py")]),
    ("fonts", "Fonts and the size of a text", [[]]),
]
READING = """Figures of a kind were measured in turns, so that whatever else the machine did struck all of them. A
ratio is one of times to the floor's, whatever the unit: 1 is as quick as the plainest way, 2 takes twice as long."""


def output_of(*command):
    """Empty where the program is not there."""
    try:
        return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False).stdout.strip()
    except OSError:
        return ""


def field(file, name):
    """What stands behind the first "NAME:" in @file."""
    found = re.search(rf"^{name}\s*:\s*(.*)$", pathlib.Path(file).read_text(encoding="utf-8"), re.M)
    return found[1] if found else ""


def processor():
    model = field("/proc/cpuinfo", "model name") or platform.machine()
    virtual = ", virtual" if "hypervisor" in field("/proc/cpuinfo", "flags").split() else ""
    return f"{model}, {os.cpu_count()} cores{virtual}"


def compiler(build):
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    words = shlex.split(next(entry["command"] for entry in commands if entry["file"].endswith("/NSRunLoop.cpp")))
    program = next(word for word in words if not word.endswith("ccache"))
    flags = [word for word in words if re.match(r"-(O|f|m|std|g|U_|D_)", word)]
    return f"{output_of(program, '--version').splitlines()[0]}, `{' '.join(flags)}`"


def packages():
    lines = (ROOT / "setup/packages").read_text(encoding="utf-8").splitlines()
    names = sorted({line.split()[1] for line in lines if line.startswith("bench ")})
    there = output_of("dpkg-query", "-W", "-f", "${db:Status-Status} ${Package} ${Version}\\n", *names)
    return re.findall(r"^installed (.*)$", there, re.M)


def description(build):
    """Rows of a table, taken before anything is measured."""
    now = datetime.datetime.now(datetime.timezone.utc)
    rows = {
        "date": f"{now:%d %B %Y, %H:%M} UTC",
        "processor": processor(),
        "memory": f"{int(field('/proc/meminfo', 'MemTotal').split()[0]) / 2**20:.1f} GiB",
        "kernel": f"{platform.system()} {platform.release()}",
        "distribution": f"{platform.freedesktop_os_release().get('PRETTY_NAME', '?')} "
                        f"{pathlib.Path('/etc/debian_version').read_text(encoding='utf-8').strip()}",
        "compiler": compiler(build),
        "source": output_of("git", "describe", "--always", "--dirty", "--abbrev=10") or "not in git",
        "packages": ", ".join(packages()),
        "load average before": f"{os.getloadavg()[0]:.2f}, with the build, where there was one",
    }
    return "".join(f"| {name} | {value} |\n" for name, value in rows.items())


def run(room, command, rows):
    """What the program prints, which is shown as it comes. Its rows are added to @rows."""
    text = ""
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, encoding="utf-8",
                          env={**os.environ, "JV_BENCH_ROWS": str(rows)}) as program:
        for line in program.stdout:
            print(line, end="", flush=True)
            text += line
    if program.returncode == 0:
        return text, True
    failure = f"\n**bench_{room} ended with status {program.returncode}; what it had not measured is missing.**\n"
    print(failure)
    return text + failure, False


def measured(build, out, options):
    """The sections of the report, and whether all went well."""
    report, fine = "", True
    for room, heading, starters in ROOMS:
        heading = f"\n## {heading}\n"
        print(heading, end="", flush=True)
        program = build / "bench" / room / f"bench_{room}"
        rows = out / f"{room}.jsonl"
        rows.write_text("")
        text = heading
        if not program.exists():
            text += "\nNot measured here: the libraries that it is measured against are missing.\n"
        for starter in starters if program.exists() else []:
            said, good = run(room, [*starter, program, *options], rows)
            text += said
            fine = fine and good
        for subject, of in charts.read(rows).items():
            name = f"charts/{room}-{charts.file_name(subject)}"
            charts.write(of, out / name)
            text = text.replace(f"\n### {subject}\n", f"\n### {subject}\n\n![{subject}: the ratios below]({name})\n")
        report += text
    return report, fine


def main():
    build, out, options = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
    machine = description(build)
    (out / "charts").mkdir(parents=True, exist_ok=True)
    sections, fine = measured(build, out, options)
    length = "A short run: few rounds, small sizes; enough to see that nothing broke.\n\n" if options else ""
    machine += f"| load average at the end | {os.getloadavg()[0]:.2f} |\n"
    head = f"# Benchmarks\n\n{length}{READING}\n\n| machine | |\n|---|---|\n{machine}"
    (out / "report.md").write_text(head + sections, encoding="utf-8")
    print(f"\n{out / 'report.md'}")
    return 0 if fine else 1


if __name__ == "__main__":
    sys.exit(main())
