"""stress.py JV [--rounds N] [--seed S] [--operations N] [--processes N] [--stop] [--large]: several processes make
random changes in a watched folder. In the end, everything that differs from the beginning must have been told of, and
nothing outside ever. Prints the seed of each round; --seed makes one again (how the processes interleave differs).
--stop halts the watcher now and then, so that the kernel's queue overflows where it is short. --large makes so many
folders that the watcher has their file system watched, and ends with 77 where that is not possible."""

import argparse
import contextlib
import json
import os
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

    def __init__(self, root, out, links, seed):
        self.root, self.out, self.links = root, out, links
        self.random = random.Random(seed)
        self.count = 0
        self.seed = seed

    def name(self):
        self.count += 1
        if self.random.random() < 0.5:
            return f"n{self.random.randrange(12)}"  # so that names are used again
        return f"{self.seed}-{self.count}"

    def new_path(self):
        return os.path.join(self.folder(), self.name())

    def folder(self, top=None):
        at = top or self.root
        while self.random.random() < 0.75:
            below = [entry.path for entry in os.scandir(at) if entry.is_dir(follow_symlinks=False)]
            if not below:
                break
            at = self.random.choice(below)
        return at

    def entry(self, is_wanted=lambda entry: True):
        """Raises IndexError where there is none."""
        return self.random.choice([entry.path for entry in os.scandir(self.folder()) if is_wanted(entry)])

    def file(self):
        return self.entry(lambda entry: entry.is_file(follow_symlinks=False))

    def subfolder(self):
        return self.entry(lambda entry: entry.is_dir(follow_symlinks=False))

    def write(self, path):
        with open(path, "w", encoding="ascii") as file:
            file.write(f"{self.seed} {self.count} {self.random.random()}")

    def create(self):
        self.write(self.new_path())

    def change(self):
        path = self.file()
        if os.stat(path).st_nlink == 1:  # what is written by one name is not told of by the other
            with open(path, "r+", encoding="ascii") as file:
                file.write(f"{self.count} {self.random.random()}")

    def replace(self):
        path = self.file()
        self.write(path + "~")
        os.rename(path + "~", path)

    def delete(self):
        os.unlink(self.file())

    def rename(self):
        os.rename(self.entry(), self.new_path())

    def make_deep(self):
        path = os.path.join(self.folder(), *(self.name() for _ in range(self.random.randrange(1, 5))))
        os.makedirs(path)
        self.write(os.path.join(path, self.name()))

    def delete_deep(self):
        shutil.rmtree(self.subfolder(), ignore_errors=True)

    def move_out(self):
        os.rename(self.subfolder(), os.path.join(self.out, f"{self.seed}-{self.count}-{self.name()}"))

    def move_in(self):
        os.rename(self.random.choice([entry.path for entry in os.scandir(self.out)]), self.new_path())

    def change_outside(self):
        self.write(os.path.join(self.folder(self.out), self.name()))

    def link(self):
        path = self.file()
        with open(self.links, "a", encoding="ascii") as file:
            file.write(f"{os.stat(path).st_ino}\n")
        os.link(path, self.new_path())

    def symbolic_link(self):
        os.symlink(self.random.choice([self.out, "..", self.root, "no such"]), self.new_path())

    STEPS = {create: 6, change: 6, replace: 2, delete: 3, rename: 5, make_deep: 4, delete_deep: 1, move_out: 1,
             move_in: 2, change_outside: 2, link: 1, symbolic_link: 1}

    def run(self, operations):
        steps = self.random.choices(list(self.STEPS), list(self.STEPS.values()), k=operations)
        for step in steps:
            with contextlib.suppress(IndexError, OSError):  # nothing to choose from, or another process was faster
                step(self)


def text_of(path):
    with open(path, encoding="ascii") as file:
        return file.read()


def snapshot(root):
    """Path -> what is there, for all that is in the folder @root, itself included."""
    found = {root: ("folder", os.stat(root).st_ino, "")}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            about = os.lstat(path)
            if os.path.islink(path):
                found[path] = ("link", about.st_ino, os.readlink(path))
            elif name in folders:
                found[path] = ("folder", about.st_ino, "")
            else:
                found[path] = ("file", about.st_ino, text_of(path))
    return found


def changed_entries(before, after, linked):
    for path, what in after.items():
        old = before.get(path)
        if what[0] == "folder" and old and old[0] == "folder" and old[1] == what[1]:
            continue
        if old != what and not (old and old[1] == what[1] and what[1] in linked):
            yield path
    yield from before.keys() - after.keys()


def missed(before, after, told, linked, root, files):
    """What has changed and was not told of."""
    entries = set(changed_entries(before, after, linked))
    if files:
        def is_told(path):
            if path in told:
                return True
            # What is gone may have gone as a part of something larger.
            return path not in after and path != root and is_told(os.path.dirname(path))
        return {path for path in entries if not is_told(path)}
    folders = {os.path.dirname(path) for path in entries}
    folders |= {path for path in entries if path in after and after[path][0] == "folder"}
    return {path for path in folders if path in after and after[path][0] == "folder" and path not in told}


def watches_file_system(process):
    for entry in os.scandir(f"/proc/{process}/fdinfo"):
        with contextlib.suppress(FileNotFoundError):  # closed meanwhile
            if "\nfanotify sdev:" in text_of(entry.path):
                return True
    return False


def run_round(arguments, seed, files):
    with tempfile.TemporaryDirectory() as base:
        root, out, links = (os.path.join(base, name) for name in ("root", "out", "links"))
        os.mkdir(root)
        os.mkdir(out)
        open(links, "w", encoding="ascii").close()
        Worker(root, out, links, seed).run(arguments.operations // 4)
        for number in range(LARGE if arguments.large else 0):
            os.makedirs(f"{root}/many/{number}")
        before = snapshot(root)

        command = [arguments.jv, "watch", "--json", *(["--files"] if files else []), root]
        watcher = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        while watcher.stderr.readline() not in (b"jv watch: watching\n", b""):
            pass
        if watches_file_system(watcher.pid) != arguments.large:
            watcher.kill()
            print("skipped: the file system is not watched as a whole" if arguments.large else "it is a small tree")
            sys.exit(SKIPPED if arguments.large else 1)
        told = set()

        def read():
            for line in watcher.stdout:
                told.update(json.loads(line)["paths"])

        reader = threading.Thread(target=read)
        reader.start()
        children = []
        for number in range(arguments.processes):
            child = os.fork()
            if child == 0:
                Worker(root, out, links, seed * 1000 + number).run(arguments.operations)
                os._exit(0)
            children.append(child)
        while children:
            if arguments.stop:
                watcher.send_signal(signal.SIGSTOP)
                time.sleep(0.3)
                watcher.send_signal(signal.SIGCONT)
            child, _ = os.waitpid(children[0], os.WNOHANG if arguments.stop else 0)
            if child:
                children.pop(0)

        after = snapshot(root)
        linked = {int(line) for line in text_of(links).split()}
        end = time.monotonic() + BOUND
        while True:
            left = missed(before, after, set(told), linked, root, files)
            if not left or time.monotonic() > end or watcher.poll() is not None:
                break
            time.sleep(0.02)
        watcher.send_signal(signal.SIGINT)
        errors = watcher.stderr.read().decode(errors="replace")
        status = watcher.wait(BOUND)
        reader.join()
        strays = [path for path in told if path != root and not path.startswith(root + "/")]
        for complaint, paths in ("missed", left), ("outside", strays):
            if paths:
                print(f"{len(paths)} {complaint}:", *sorted(paths)[:10], sep="\n  ")
        if status != 0 or errors:
            print(f"jv ended with {status}: {errors}")
        return not left and not strays and status == 0 and not errors


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("jv")
    parser.add_argument("--rounds", type=int, default=6)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--operations", type=int, default=1500)
    parser.add_argument("--processes", type=int, default=3)
    parser.add_argument("--stop", action="store_true")
    parser.add_argument("--large", action="store_true")
    arguments = parser.parse_args()
    first = arguments.seed if arguments.seed is not None else 1
    for seed in range(first, first + arguments.rounds):
        good = run_round(arguments, seed, files=seed % 2 == 0)
        print(f"seed {seed}: {'good' if good else 'BAD'}", flush=True)
        if not good:
            sys.exit(1)


main()
