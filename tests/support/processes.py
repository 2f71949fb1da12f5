"""What the starters of other programs share: waiting with a bound, and ending what was started."""

import os
import select
import shutil
import signal
import subprocess

BOUND = 30  # seconds, for whatever ought to happen by itself


class Missing(Exception):
    """A program that is not installed, or cannot run here."""


def path_of(program):
    path = shutil.which(program)
    if not path:
        raise Missing(f"{program} is not installed")
    return path


def read_line(descriptor, process):
    """The first line that comes through @descriptor, before @process ends."""
    ended = os.pidfd_open(process.pid)
    line = b""
    try:
        while not line.endswith(b"\n"):
            ready = select.select([descriptor, ended], [], [], BOUND)[0]
            if not ready:
                raise TimeoutError(f"{process.args[0]} says nothing")
            piece = os.read(descriptor, 1) if descriptor in ready else b""
            if not piece:
                raise Missing(f"{process.args[0]} does not start here")
            line += piece
    finally:
        os.close(ended)
    return line.decode().strip()


def end(process):
    """Ends @process, stopped or not, and waits for it."""
    if process.poll() is not None:
        return
    process.terminate()
    process.send_signal(signal.SIGCONT)
    try:
        process.wait(BOUND)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
