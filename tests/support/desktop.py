"""desktop.py COMMAND…: runs COMMAND with a desktop of its own around it: a session bus with a password service, a
system bus with accounts and sessions, an X server with two screens, a Wayland compositor, fonts, a home folder, and
where namespaces can be had, a network with the interface soak0 and a writable /etc (JV_TEST_INSIDE is set then).

The compositor is kept aside: its variables are WAYLAND_DISPLAY and XDG_RUNTIME_DIR with JV_TEST_ in front. Ends with
COMMAND's status, or with 77 when a component is missing."""

import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile

import namespaces
import with_fonts
from buses import Bus  # ends with 77 where there can be none
from processes import Missing
from wayland_compositor import WaylandCompositor
from x_server import XServer

STARTER = pathlib.Path(__file__).with_name("password_service.py")


@contextlib.contextmanager
def password_service():
    """Its environment, with the default collection open."""
    with subprocess.Popen(["/usr/bin/python3", "-B", STARTER], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          text=True) as starter:
        environment = {}
        for line in iter(starter.stdout.readline, "ready\n"):
            name, _, value = line.rstrip("\n").partition("=")
            if not value:
                raise Missing(line.strip() or "the password service does not start")
            environment[name] = value
        print("start", file=starter.stdin, flush=True)
        if starter.stdout.readline() != "ok\n":
            raise Missing("the password service does not start")
        yield environment
        starter.stdin.close()


def own_network():
    """Namespaces for this script, where they can be had."""
    with contextlib.suppress(SystemExit):
        namespaces.enter()
        # The first interface counts, and the cable's other end is no better than this one.
        namespaces.ip("link add soak0 index 5 type veth peer name far0 index 6", "link set far0 up",
                      "link set soak0 up", "addr add 192.0.2.1/24 dev soak0")


def main(command):
    own_network()
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory(prefix="jv-test-"))
        environment = {**os.environ, **stack.enter_context(password_service()),
                       **with_fonts.environment(folder), "XDG_SESSION_ID": "soak"}
        system = Bus("system", folder)
        stack.callback(system.stop)
        system.serve_accounts("Ada Lovelace", "ada@example.org")
        system.serve_login(("soak", os.getuid()))
        environment["DBUS_SYSTEM_BUS_ADDRESS"] = system.address
        server = stack.enter_context(XServer("1440x900+0+0", "1920x1080+1440+0"))
        environment.update(server.environment)
        environment.pop("WAYLAND_DISPLAY", None)
        with contextlib.suppress(Missing):
            compositor = stack.enter_context(WaylandCompositor("1440x900+0+0", "1920x1080+1440+0@1.5"))
            environment.update({"JV_TEST_" + name: value for name, value in compositor.environment.items()})
        return subprocess.run(command, env=environment, check=False).returncode


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except Missing as missing:
        namespaces.skip(missing)
