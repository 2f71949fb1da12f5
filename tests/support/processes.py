"""What the starters of other programs share: waiting with a bound, and ending what was started."""

import os
import select
import shutil
import signal
import subprocess
import sys

BOUND = 30  # seconds, for whatever ought to happen by itself

BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>{kind}</type><keep_umask/><listen>unix:path={path}</listen>
<policy context="default">
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy>
</busconfig>
"""


class Missing(Exception):
    """A program that is not installed, or cannot run here."""


def path_of(program):
    path = shutil.which(program)
    if not path:
        raise Missing(f"{program} is not installed")
    return path


def start_bus(kind, folder):
    """A message bus of the kind "system" or "session" with its socket in @folder, as its process and its address."""
    path = os.path.join(folder, kind)
    with open(path + ".conf", "w", encoding="ascii") as file:
        file.write(BUS.format(kind=kind, path=path))
    process = subprocess.Popen(["dbus-daemon", f"--config-file={path}.conf", "--nofork", "--nopidfile",
                                "--print-address"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    assert process.stdout.readline(), "the bus did not start"
    return process, f"unix:path={path}"


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


class Started:
    """A server that ends with the `with` that it is used in. Has `process`, and `environment` for its clients."""

    def __exit__(self, *_):
        self.end()

    def end(self):
        end(self.process)

    def stop_answering(self):
        self.process.send_signal(signal.SIGSTOP)

    def answer_again(self):
        self.process.send_signal(signal.SIGCONT)


def run_under(start, without):
    """Runs the command behind "--" in the environment of what @start makes of the words before it, and ends with its
    status. @without is a variable that would lead the command elsewhere."""
    at = sys.argv.index("--")
    with start(*sys.argv[1:at]) as server:
        environment = {**os.environ, **server.environment}
        environment.pop(without, None)
        sys.exit(subprocess.run(sys.argv[at + 1:], env=environment, check=False).returncode)


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
