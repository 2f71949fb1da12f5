"""faults.py PROBE [OPTION…] [SERVICE…]: makes system calls of the services fail, one at a time, and looks at what comes
of it. Ends with 0 when all is well, 1 when a service failed, and 77 where calls cannot be watched.

A seccomp filter in the probe asks this script at each call (seccomp_unotify(2)). Unlike a tracer, that shows the calls of
all threads in one order, costs microseconds, and needs no privileges."""

import argparse
import collections
import contextlib
import errno
import fcntl
import os
import pathlib
import random
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

# The system calls, and the errors with which each may fail although the caller did nothing wrong.
FAILING = {
    "EMFILE ENFILE ENOMEM EACCES EIO EINTR": "openat",
    "EMFILE ENOMEM EACCES": "open",
    "EMFILE ENOMEM EPERM": "open_by_handle_at",
    "EINTR EIO": "read pread64 readv fstatfs",
    "EINTR EIO ENOSPC": "write pwrite64 ftruncate",
    "EINTR EIO EPIPE": "writev",
    "EINTR EIO EPIPE EOPNOTSUPP": "pwritev2",
    "EINTR ENOLCK": "flock",
    "EIO": "lseek",
    "EIO ENOENT": "getdents64",
    "EIO ENOMEM": "fstat execve",
    "EIO ENOSPC": "fsync fdatasync",
    "ENOSPC EOPNOTSUPP": "fallocate",
    "EACCES": "fchdir",
    "EACCES EIO": "statfs stat lstat readlinkat readlink faccessat access chdir unlinkat unlink",
    "EACCES EIO ENOMEM": "newfstatat",
    "EACCES EIO ENOSYS": "statx",
    "EACCES EIO ENOSPC": "renameat renameat2 rename",
    "EACCES ENOSPC": "mkdirat mkdir",
    "EACCES ENOSYS": "faccessat2",
    "EACCES EPERM ENOSPC": "linkat link",
    "EPERM EIO": "fchmod fchown chmod",
    "EINVAL": "fadvise64 inotify_rm_watch",
    "EINVAL ENOTTY": "ioctl",
    "EINVAL EMFILE ENOLCK": "fcntl",
    "EOPNOTSUPP ENOSYS": "name_to_handle_at",
    # Descriptors of all kinds
    "EMFILE": "dup dup2 dup3",
    "EMFILE ENFILE": "pipe pipe2",
    "EMFILE ENOSYS": "memfd_create pidfd_open",
    "EMFILE ENFILE ENOMEM": "eventfd2 timerfd_create epoll_create1 inotify_init1",
    "EMFILE EPERM ENOSYS": "fanotify_init",
    "ENOMEM ENOSPC": "epoll_ctl fanotify_mark",
    "ENOMEM ENOSPC EACCES ENOENT": "inotify_add_watch",
    "EINTR": "epoll_pwait epoll_wait waitid getrandom",
    "EINTR ENOMEM": "ppoll poll pselect6",
    "EAGAIN": "io_submit",
    "EAGAIN ENOSYS": "io_setup",
    # Sockets
    "EMFILE ENFILE ENOBUFS EACCES EAFNOSUPPORT": "socket",
    "EMFILE ENOBUFS": "socketpair",
    "ECONNREFUSED EINTR ENOENT EAGAIN": "connect",
    "EADDRINUSE ENOMEM": "bind",
    "EINTR EAGAIN ENOBUFS EPIPE": "sendto sendmsg",
    "EINTR ECONNRESET ENOBUFS": "recvfrom recvmsg",
    "ENOPROTOOPT ENOBUFS": "getsockopt",
    "ENOPROTOOPT ENOMEM": "setsockopt",
    "ENOBUFS": "getsockname",
    "ENOTCONN": "shutdown",
    "ENOTCONN ENOBUFS": "getpeername",
    # Memory, processes and threads
    "ENOMEM": "mmap mremap mprotect",
    "ENOMEM EPERM": "mlock",
    "EAGAIN ENOMEM": "clone clone3",
    "ENOSYS EPERM": "close_range",
    "EPERM": "unshare prlimit64 sched_getaffinity pidfd_send_signal",
}
# Those that cannot fail, or not without leaving behind what the caller took for gone: to close and to unmap.
SURE = """
    close munmap munlock madvise brk exit exit_group futex rt_sigaction rt_sigprocmask rt_sigreturn rt_sigpending
    rt_sigtimedwait sigaltstack restart_syscall getpid gettid getppid getuid geteuid getgid getegid getresuid getresgid
    umask uname sysinfo getcwd prctl arch_prctl clock_gettime clock_getres clock_nanosleep gettimeofday time
    timerfd_settime sched_yield sched_getparam sched_getscheduler set_robust_list rseq membarrier tgkill kill
    io_getevents io_destroy"""
MEMORY = "mmap", "mremap"  # without it a program ends, sooner or later

# A pipe has no errors of a disk, and one that nobody reads any more drops the rest of the input on purpose.
OF_NO_PIPE = "read EIO, write EIO, write ENOSPC, pwritev2 EIO, pwritev2 EPIPE"
# What may not be read cannot be watched, and that is no trouble; what is not there will come with an event.
OF_NO_WATCH = ("openat EACCES, open EACCES, statx EACCES, inotify_add_watch EACCES, inotify_add_watch ENOENT, "
               "getdents64 ENOENT")
# Pango ends the process when it gets no thread for its first font map.
OF_PANGO = "clone3 EAGAIN, clone3 ENOMEM, clone EAGAIN, clone ENOMEM, mmap ENOMEM, mprotect ENOMEM"

# What each needs in the environment, how many threads may stay with the main one, and the faults that are not tried.
Service = collections.namedtuple("Service", "name needs threads never", defaults=(None, 1, ""))
SERVICES = [
    Service("encoding"),
    Service("tasks", never=OF_NO_PIPE),
    Service("background", threads=4, never=OF_NO_PIPE),
    Service("dispatch"),
    Service("vault"),
    Service("keychain", "DBUS_SESSION_BUS_ADDRESS"),
    Service("fileevents", never=OF_NO_WATCH),
    Service("facts", "JV_TEST_INSIDE"),
    Service("listeners", "JV_TEST_INSIDE"),
    Service("screens-x11", "DISPLAY"),
    Service("screens-wayland", "JV_TEST_WAYLAND_DISPLAY"),
    Service("fonts", "FONTCONFIG_FILE"),
    Service("text", "FONTCONFIG_FILE", never=OF_PANGO),
]

BOUND = 120  # seconds, for a whole run. The longest that a service may wait for another program is 25, each time.
ONE_IN = 50  # by chance, one call in so many fails
MARK = 9999  # no system call: by it the probe says that its calls may fail from here on, or no more
SECRET = "s3cret-pa55word"  # stands in every password; whatever a service prints is searched for it
SKIPPED = 77

# From linux/seccomp.h
RECEIVE, SEND, CONTINUE = 0xC0502100, 0xC0182101, 1
HELD = "descriptors", "threads", "children"


def numbers_of(header):
    """Name -> number of each system call of this architecture."""
    found = dict(re.findall(r"#define (__NR\w+) (\w+)", pathlib.Path(header).read_text(encoding="ascii")))
    resolved = {name: found.get(number, number) for name, number in found.items()}
    return {name.removeprefix("__NR_"): int(number) for name, number in resolved.items() if number.isdigit()}


class Run:
    """A service in a process whose calls are watched: @fault fails, or calls by chance if there is a @seed."""

    def __init__(self, trial, fault=None, seed=None):
        self.trial, self.fault = trial, fault
        self.chance = random.Random(seed) if seed else None
        self.disturbing = False
        self.calls, self.failed = collections.Counter(), 0
        self.tools = set()  # processes that became another program
        self.wrong = []
        ours, theirs = socket.socketpair()
        with tempfile.TemporaryDirectory(prefix="jv-faults-") as folder, tempfile.TemporaryFile() as output, ours:
            with theirs:
                usual = trial.usual[:2] if trial.usual else (0, 0)
                words = [trial.service.name, folder, SECRET, str(theirs.fileno()), *map(str, usual), *trial.options.sure]
                process = subprocess.Popen([trial.options.probe, *words], pass_fds=[theirs.fileno()], stdout=output,
                                           stderr=output)
            listeners = socket.recv_fds(ours, 1, 1)[1]
            if not listeners:
                sys.exit("the probe hands over no filter")
            ended = self.watch(process.pid, listeners[0])
            self.judge(process, ended, output)
            os.close(listeners[0])

    def watch(self, process, listener):
        """@return whether the process ended by itself."""
        end = time.monotonic() + BOUND
        with open(os.pidfd_open(process), "rb") as child:
            poll = select.poll()
            poll.register(listener, select.POLLIN)
            poll.register(child, select.POLLIN)
            while time.monotonic() < end:
                ready = dict(poll.poll(1000))
                if ready.get(listener, 0) & select.POLLIN:
                    self.answer(listener)
                elif child.fileno() in ready:
                    return True
        return False

    def answer(self, listener):
        asked = bytearray(80)
        with contextlib.suppress(OSError):  # gone meanwhile
            fcntl.ioctl(listener, RECEIVE, asked)
            number, process, _, call = struct.unpack_from("QIIi", asked)
            if call == MARK:
                self.disturbing = not self.disturbing
            error = self.error_for(call, process)
            flags = 0 if error or call == MARK else CONTINUE
            fcntl.ioctl(listener, SEND, struct.pack("QqiI", number, 0, -error, flags))

    def error_for(self, number, process):
        if not self.disturbing or process in self.tools or number == MARK:
            return 0
        call = self.trial.options.names.get(number, f"number {number}")
        self.calls[call] += 1
        errors = self.trial.options.errors.get(call)
        if not errors:
            self.wrong += [f"system call {call} is in no list"] if self.calls[call] == 1 else []
            return 0
        error = None
        if self.fault and self.fault[0] == call and self.fault[2] == self.calls[call]:
            error = self.fault[1]
        if self.chance and self.chance.randrange(ONE_IN) == 0 and call not in MEMORY:
            error = self.chance.choice(errors)
            if self.trial.is_spared(call, error):
                error = None
        if call == "execve" and not error:
            self.tools.add(process)  # what a tool does is its own business
        self.failed += error is not None
        return getattr(errno, error) if error else 0

    def judge(self, process, ended, output):
        if not ended:
            self.wrong.append(f"no answer (process {process.pid})")
            if os.environ.get("JV_FAULTS_KEEP"):
                signal.pause()  # for a debugger
            process.kill()
        status = process.wait()
        output.seek(0)
        said = output.read().decode(errors="replace")
        held = re.search(r"^held (\d+) (\d+) (\d+)$", said, re.MULTILINE)
        self.held = [int(count) for count in held.groups()] if held else None
        if ended and (status != 0 or not held):
            self.wrong.append(f"exit status {status}" if status >= 0 else "ended by " + signal.strsignal(-status))
        if self.wrong and said:
            self.wrong.append(said)
        if SECRET in said:
            self.wrong.append("the secret is in the output")
        if not self.wrong and self.trial.usual:
            self.wrong = [f"{now} {what} left, usually {before}"
                          for what, now, before in zip(HELD, self.held, self.trial.usual) if now > before]


class Trial:
    """All that is tried with one service."""

    def __init__(self, service, options, seconds):
        self.service, self.options, self.seconds = service, options, seconds
        self.spared = set(service.never.split(", "))
        self.usual = None
        self.tried = self.struck = self.bad = 0

    def is_spared(self, call, error):
        return f"{call} {error}" in self.spared

    def faults_of(self, calls):
        """Every way to make one of the @calls fail."""
        wanted = self.options.only
        return [(call, error, nth) for call, count in sorted(calls.items()) for error in self.options.errors.get(call, ())
                for nth in range(1, count + 1) if not self.is_spared(call, error)
                and all(asked in ("any", have) for asked, have in zip(wanted, (call, error, str(nth))))]

    def run(self):
        """@return whether all went well."""
        Run(self)  # what is made once on a machine, such as caches
        begin = time.monotonic()
        usual = Run(self)
        if usual.wrong:
            self.report("undisturbed", usual)
            return False
        descriptors, threads, children = usual.held
        self.usual = descriptors, max(threads, self.service.threads), children
        chance = random.Random(self.options.seed)
        faults = [] if self.options.again else self.faults_of(usual.calls)
        if self.seconds:
            chance.shuffle(faults)
        for fault in faults:
            if self.seconds and time.monotonic() - begin > self.seconds:
                break
            self.try_one(" ".join(map(str, fault)), fault=fault)
        seeds = [self.options.again] if self.options.again else []
        for seed in seeds + [chance.randrange(1, 1 << 32) for _ in range(self.options.chance)]:
            self.try_one(f"by chance, seed {seed}", seed=seed)
        print(f"{self.service.name:16} {self.tried:5} runs of {len(faults):5} faults, {self.struck:5} calls failed, "
              f"{self.bad} wrong, {time.monotonic() - begin:.0f} s", flush=True)
        return self.bad == 0

    def try_one(self, words, **how):
        run = Run(self, **how)
        self.tried += 1
        self.struck += run.failed
        self.bad += bool(run.wrong)
        if run.wrong:
            self.report(words, run)

    def report(self, words, run):
        print(f"{self.service.name}, {words}:", *(f"{what};" for what in run.wrong), flush=True)


def main():
    parser = argparse.ArgumentParser()
    add = parser.add_argument
    add("probe")
    add("services", nargs="*")
    add("--seconds", type=float, default=0, help="as many faults as can be tried in so long, in a random order")
    add("--chance", type=int, default=0, help="after that, so many runs a service in which calls fail by chance")
    add("--again", type=int, metavar="SEED", help="the one run by chance that had this seed")
    add("--seed", type=int, default=random.randrange(1 << 32), help="of order and chance")
    add("--only", nargs=3, metavar=("CALL", "ERROR", "NTH"), default=["any"] * 3, help="each may be any")
    options = parser.parse_intermixed_args()
    numbers = numbers_of(pathlib.Path(options.probe).with_name("calls.h"))
    options.names = {number: name for name, number in numbers.items()}
    options.errors = {call: errors.split() for errors, calls in FAILING.items() for call in calls.split()}
    options.sure = [str(numbers[name]) for name in SURE.split() if name in numbers]
    if subprocess.run([options.probe, *[""] * 6, *options.sure], check=False).returncode != 0:
        print("skipped: system calls cannot be watched here")
        sys.exit(SKIPPED)
    print("seed", options.seed, flush=True)
    wanted = [service for service in SERVICES if service.name in options.services]
    for service in [] if options.services else SERVICES:
        if not service.needs or os.environ.get(service.needs):
            wanted.append(service)
        else:
            print(f"{service.name:16} left out: no {service.needs} here")
    good = [Trial(service, options, options.seconds / len(wanted)).run() for service in wanted]
    sys.exit(0 if good and all(good) else 1)


main()
