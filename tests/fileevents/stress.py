"""stress.py JV [--rounds N] [--seed S] [--operations N] [--processes N] [--stop] [--large]: several processes make
random changes in a watched folder. In the end, everything that differs from the beginning must have been told of, and
nothing outside ever. Prints the seed of each round; --seed makes one again (how the processes interleave differs).
--stop halts the watcher now and then, so that the kernel's queue overflows where it is short. --large makes so many
folders that the watcher has their file system watched, and ends with 77 where that is not possible."""

import argparse
import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

BOUND = 120  # seconds
LARGE = 4000  # folders
SKIPPED = 77


class Worker:
    """Makes random changes in the folders root and out; what other processes do meanwhile is none of its concern."""

    def __init__(self, base, seed):
        self.root, self.out = base + "/root", base + "/out"
        self.random = random.Random(seed)
        self.seed, self.count = seed, 0

    def name(self):
        self.count += 1
        return self.random.choice([f"n{self.random.randrange(12)}", f"{self.seed}-{self.count}"])  # some are used again

    def new(self, top=None):
        return os.path.join(self.folder(top), self.name())

    def folder(self, top=None):
        at = top or self.root
        with contextlib.suppress(IndexError):  # there is none below
            while self.random.random() < 0.75:
                at = self.entry(os.DirEntry.is_dir, at)
        return at

    def entry(self, is_wanted=None, folder=None):
        """Raises IndexError where there is none."""
        return self.random.choice([entry.path for entry in os.scandir(folder or self.folder())
                                   if not is_wanted or is_wanted(entry, follow_symlinks=False)])

    def file(self):
        return self.entry(os.DirEntry.is_file)

    def write(self, path):
        pathlib.Path(path).write_text(f"{self.seed} {self.count} {self.random.random()}", encoding="ascii")
        return path

    def make_deep(self):
        path = os.path.join(self.folder(), *(self.name() for _ in range(self.random.randrange(1, 5))))
        os.makedirs(path)
        self.write(os.path.join(path, self.name()))

    STEPS = [
        (6, lambda self: self.write(self.new())),
        (6, lambda self: self.write(self.file())),
        (2, lambda self: os.rename(self.write(self.file() + "~"), self.file())),
        (3, lambda self: os.unlink(self.file())),
        (5, lambda self: os.rename(self.entry(), self.new())),
        (4, make_deep),
        (1, lambda self: shutil.rmtree(self.entry(os.DirEntry.is_dir), ignore_errors=True)),
        (1, lambda self: os.rename(self.entry(os.DirEntry.is_dir), self.new(self.out))),
        (2, lambda self: os.rename(self.entry(folder=self.out), self.new())),
        (2, lambda self: self.write(self.new(self.out))),
        (1, lambda self: os.symlink(self.random.choice([self.out, "..", self.root, "no such"]), self.new())),
    ]

    def run(self, operations):
        weights, steps = zip(*self.STEPS)
        for step in self.random.choices(steps, weights, k=operations):
            with contextlib.suppress(IndexError, OSError):  # nothing to choose from, or another process was faster
                step(self)


def snapshot(root):
    """Path -> inode and contents of all that is in the folder @root, itself included; contents of folders are None."""
    found = {root: (os.stat(root).st_ino, None)}
    for folder, folders, files in os.walk(root):
        for path in (pathlib.Path(folder, name) for name in folders + files):
            contents = os.readlink(path) if path.is_symlink() else None if path.is_dir() else path.read_text("ascii")
            found[str(path)] = (os.lstat(path).st_ino, contents)
    return found


def missed(before, after, told, root, files):
    """What has changed and was not told of."""
    changed = {path for path in before.keys() | after.keys() if before.get(path) != after.get(path)}
    if files:
        def is_told(path):  # what is gone may have gone as a part of something larger
            return path in told or (path not in after and path != root and is_told(os.path.dirname(path)))
        return {path for path in changed if not is_told(path)}
    folders = changed | {os.path.dirname(path) for path in changed}
    return {path for path in folders if after.get(path, (0, ""))[1] is None and path not in told}


def run_round(arguments, seed, files, base):
    root = base + "/root"
    os.mkdir(root)
    os.mkdir(base + "/out")
    Worker(base, seed).run(arguments.operations // 4)
    for number in range(LARGE if arguments.large else 0):
        os.makedirs(f"{root}/many/{number}")
    before = snapshot(root)
    command = [arguments.jv, "watch", "--json", *(["--files"] if files else []), root]
    watcher = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    while watcher.stderr.readline() not in ("jv watch: watching\n", ""):
        pass
    held = subprocess.run(f"cat /proc/{watcher.pid}/fdinfo/*", shell=True, capture_output=True, text=True, check=False)
    if ("\nfanotify sdev:" in held.stdout) != arguments.large:
        watcher.kill()
        sys.exit(SKIPPED if arguments.large else "a small tree is watched by its file system")
    told = set()

    def read():
        for line in watcher.stdout:
            told.update(json.loads(line)["paths"])

    reader = threading.Thread(target=read)
    reader.start()
    children = []
    for number in range(arguments.processes):
        children.append(os.fork())
        if children[-1] == 0:
            Worker(base, seed * 1000 + number).run(arguments.operations)
            os._exit(0)
    while children:
        if arguments.stop:
            watcher.send_signal(signal.SIGSTOP)
            time.sleep(0.3)
            watcher.send_signal(signal.SIGCONT)
        if os.waitpid(children[0], os.WNOHANG if arguments.stop else 0)[0]:
            children.pop(0)

    after = snapshot(root)
    end = time.monotonic() + BOUND
    while (left := missed(before, after, set(told), root, files)) and time.monotonic() < end and watcher.poll() is None:
        time.sleep(0.02)
    watcher.send_signal(signal.SIGINT)
    errors = watcher.stderr.read()
    status = watcher.wait(BOUND)
    reader.join()
    strays = [path for path in told if path != root and not path.startswith(root + "/")]
    if left or strays or status != 0 or errors:
        print(f"missed {sorted(left)[:10]}, outside {strays[:10]}, jv ended with {status}: {errors}")
        sys.exit(1)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("jv")
    parser.add_argument("--rounds", type=int, default=6)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--operations", type=int, default=1500)
    parser.add_argument("--processes", type=int, default=3)
    parser.add_argument("--stop", action="store_true")
    parser.add_argument("--large", action="store_true")
    arguments = parser.parse_args()
    for seed in range(arguments.seed, arguments.seed + arguments.rounds):
        print("seed", seed, flush=True)
        with tempfile.TemporaryDirectory() as base:
            run_round(arguments, seed, seed % 2 == 0, base)


main()
