"""includes.py ROOT PUBLIC-HEADER…: the #include lines keep to what each room may include."""

import pathlib
import re
import sys

from support import report

BASE = {"foundation", "platform"}
# A room and the rooms that it may include; every room may include itself.
ROOMS = {
    "foundation": set(),
    "platform": {"foundation"},
    "platform/linux": BASE,
    "encoding": BASE,
    "keychain": BASE,
    "dispatch": BASE,
    "geometry": BASE,
    "fonts": BASE,
    "fileevents": BASE | {"dispatch"},
    "tasks": BASE | {"dispatch"},
    "system": BASE | {"tasks", "dispatch"},
}
MODULES = "platform/modules"  # each folder in it is a room that may include BASE
CLIENTS = ("tools/jv", "examples")  # they see the installed headers, and files beside their own
C_SYSTEM_HEADERS = {"stdbool.h", "stddef.h", "stdint.h"}  # all that public headers take of C

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"]', re.M)


def room_of(path):
    """The room or client folder that holds the file at @path, a path below the root; None elsewhere."""
    parts = path.split("/")
    if path.startswith(MODULES + "/"):
        return "/".join(parts[:3])
    for folder in (*CLIENTS, *sorted(ROOMS, key=len, reverse=True)):
        if path.startswith(folder + "/"):
            return folder
    return None


def complaint(path, bracket, name, public):
    """What is wrong with the line of @path that includes @name, or None."""
    own = room_of(path)
    installed = name.startswith("JorvaneFoundation/")
    target = name.removeprefix("JorvaneFoundation/")
    if own in CLIENTS:
        beside = bracket == '"' and "/" not in name
        return None if installed or beside or (bracket == "<" and room_of(name) is None) else "not installed"
    if bracket == "<" and not installed:
        if path in public and name.endswith(".h") and name not in C_SYSTEM_HEADERS:
            return "a system header in a public one"
        return "private headers stand in quotes" if room_of(name) else None
    if installed and target != "JorvaneFoundation.h" and target not in public:
        return "not a public header"
    if installed and bracket == '"':
        return "public headers stand in angle brackets"
    if not installed and path in public:
        return "a private header in a public one"
    room = room_of(target)
    if room is None or room in CLIENTS:
        return "in no room"
    if room == own:
        return None
    allowed = BASE if own.startswith(MODULES + "/") else ROOMS[own]
    return None if room in allowed else f"{own} may not include {room}"


root, public = pathlib.Path(sys.argv[1]), set(sys.argv[2:])
failures, lines = [], 0
for folder in (*(top for top in ROOMS if "/" not in top), *CLIENTS):
    for file in sorted((root / folder).rglob("*")):
        if file.suffix not in (".h", ".cpp", ".c", ".inc"):
            continue
        path = file.relative_to(root).as_posix()
        for bracket, name in INCLUDE.findall(file.read_text(encoding="utf-8")):
            lines += 1
            wrong = complaint(path, bracket, name, public)
            if wrong:
                failures.append(f"{path} includes {name}: {wrong}")
if lines == 0:
    sys.exit(f"no #include line under {root}")
report(failures)
