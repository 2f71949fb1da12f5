"""faults.py PROBE: makes the system calls of a launch fail, one after the other, and expects an answer each time: no
hang, no crash, nothing left behind. Ends with 77 where strace cannot trace."""

import re
import subprocess
import sys

SKIPPED = 77
SECONDS = 30
FAULTS = {
    "pipe2": ["EMFILE", "ENFILE"],
    "clone": ["EAGAIN", "ENOMEM"],
    "clone3": ["EAGAIN"],  # threads
    "read": ["EINTR", "EIO"],
    "write": ["EINTR", "EIO"],
    "pwritev2": ["EINTR", "EIO", "EPIPE", "EOPNOTSUPP"],
    "poll": ["EINTR", "ENOMEM"],
    "ioctl": ["EINVAL"],
    "fcntl": ["EINVAL", "EPERM"],
    "waitid": ["EINTR"],
    "dup3": ["EMFILE"],
    "chdir": ["EIO"],
    "execve": ["EIO", "ENOMEM"],
    "close_range": ["ENOSYS", "EPERM"],
    "rt_sigaction": ["EINVAL"],
    "epoll_create1": ["EMFILE"],
    "epoll_ctl": ["ENOMEM"],
    "epoll_wait": ["EINTR"],
    "eventfd2": ["EMFILE"],
}
NO_START = 127  # the loader's, when the fault struck it


def run(probe, face, *strace):
    command = ["strace", "-f", "-o", "/dev/null", *strace, probe, face]
    return subprocess.run(command, capture_output=True, text=True, timeout=SECONDS, check=False)


def calls(probe, face):
    """How often each system call is made, by the process that makes it most often."""
    command = ["strace", "-f", "-e", "trace=" + ",".join(FAULTS), probe, face]
    traced = subprocess.run(command, capture_output=True, text=True, timeout=SECONDS, check=False).stderr
    counts = {}
    for process, name in re.findall(r"^(?:\[pid +(\d+)\] )?(\w+)\(", traced, re.M):
        counts.setdefault(name, {}).setdefault(process, 0)
        counts[name][process] += 1
    return {name: max(by_process.values()) for name, by_process in counts.items()}


def main(probe):
    try:
        if run(probe, "sync", "-e", "trace=none").returncode != 0:
            sys.exit(SKIPPED)
    except FileNotFoundError:
        sys.exit(SKIPPED)
    wrong, tried = [], 0
    for face in "sync", "async":
        for name, most in sorted(calls(probe, face).items()):
            for error in FAULTS[name]:
                for nth in range(1, min(most, 25) + 1):
                    fault = f"inject={name}:error={error}:when={nth}"
                    tried += 1
                    try:
                        result = run(probe, face, "-e", "trace=" + name, "-e", fault)
                    except subprocess.TimeoutExpired:
                        wrong.append(f"{face} {fault}: no answer")
                        continue
                    started = result.returncode != NO_START or "loading shared libraries" not in result.stderr
                    if result.returncode != 0 and started:
                        wrong.append(f"{face} {fault}: {result.returncode} {result.stdout}{result.stderr}".strip())
    print(f"{tried} faults")
    sys.exit("\n".join(wrong) if wrong else 0)


main(*sys.argv[1:])
