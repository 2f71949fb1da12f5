"""A test in a machine of its own: private network, host name and /etc, and whatever it starts ends with it."""

import os
import subprocess
import sys

SKIPPED = 77  # what ctest takes as: not run
INSIDE = "JV_TEST_INSIDE"
NAMESPACES = ["unshare", "--net", "--uts", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
              "--propagation", "private"]


def skip(why):
    print(f"skipped: {why}", file=sys.stderr)
    sys.exit(SKIPPED)


def enter():
    """Starts the running script anew inside, unless it is there already. Skips the test where that cannot be had."""
    if os.environ.get(INSIDE):
        _prepare()
        return
    command = NAMESPACES if os.geteuid() == 0 else [*NAMESPACES, "--user", "--map-root-user"]
    tried = subprocess.run([*command, "true"], capture_output=True, text=True, check=False)
    if tried.returncode != 0:
        skip(f"no namespaces here: {tried.stderr.strip()}")
    os.execvpe(command[0], [*command, sys.executable, "-B", *sys.argv], {**os.environ, INSIDE: "1"})


def _prepare():
    """A writable layer over /etc, so that the machine's own stays as it is."""
    script = """
        mount -t tmpfs tmpfs /run && mkdir /run/up /run/work &&
        mount -t overlay overlay -o lowerdir=/etc,upperdir=/run/up,workdir=/run/work /etc &&
        ip link set lo up"""
    done = subprocess.run(["sh", "-c", script], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        skip(f"no private /etc or network here: {done.stderr.strip()}")


def ip(*lines, inside=()):
    """Runs commands of ip, one a line, behind the command @inside."""
    subprocess.run([*inside, "ip", "-batch", "-"], input="\n".join(lines) + "\n", text=True, check=True)
