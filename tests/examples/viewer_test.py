"""viewer_test.py VIEWER: the example viewer as people use it. Exits with 77 where it cannot be driven."""

import contextlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from ftp_server import FtpServer
from viewer_driver import Viewer
from processes import Missing, path_of
from x_server import XServer

VIEWER = os.path.abspath(sys.argv.pop(1))
SUPPORT = pathlib.Path(__file__).resolve().parent.parent / "support"
TEXT = "本日の議題\r\nLinux の文字コードについて\r\nlinux と LINUX\r\n"


@contextlib.contextmanager
def password_service():
    """The environment of a keychain of this test's own."""
    # Debian's own Python: the service's bindings belong to that one.
    with subprocess.Popen(["/usr/bin/python3", "-B", SUPPORT / "password_service.py"], text=True,
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE) as service:
        environment = {}
        while (line := service.stdout.readline()) != "ready\n":
            name, assigned, value = line.rstrip("\n").partition("=")
            if not assigned:
                raise Missing(line or "the password service does not start")
            environment[name] = value
        print("start", file=service.stdin, flush=True)
        if (answer := service.stdout.readline()) != "ok\n":
            raise Missing(answer or "the password service does not start")
        yield environment
        service.stdin.close()


class ViewerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        server = XServer("1280x800+0+0", size="1280x800").__enter__()
        cls.addClassCleanup(server.end)
        cls.x = server.environment

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "gidai.txt"
        self.file.write_bytes(TEXT.encode("shift_jis"))
        # Nothing of the user's own: no settings, no bus.
        own = dict.fromkeys(("HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "TMPDIR"), folder.name)
        self.environment = {**self.x, **own, "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}

    def viewer(self, file=None, environment=None, before=()):
        return Viewer(VIEWER, file or self.file, {**self.environment, **(environment or {})}, before)

    def test_shows_and_follows_a_file(self):
        with self.viewer() as viewer:
            viewer.expect("title: gidai.txt (Shift_JIS, CRLF)", "status: Opened gidai.txt.")
            self.assertIn("gidai.txt (Shift_JIS, CRLF)",
                          " ".join(viewer.xdotool("getwindowname", viewer.window)))
            self.file.write_bytes("日本語\n".encode("euc_jp"))
            viewer.expect("title: gidai.txt (EUC-JP, LF)", "status: Reloaded gidai.txt.")
            fresh = self.folder / "fresh"  # as editors save
            fresh.write_bytes("日本語です。\n".encode())
            fresh.rename(self.file)
            viewer.expect("title: gidai.txt (UTF-8, LF)", "status: Reloaded gidai.txt.")
            self.file.unlink()
            viewer.expect("status: gidai.txt: No such file or directory")
            self.file.write_bytes(TEXT.encode("iso2022_jp"))
            viewer.expect("title: gidai.txt (ISO-2022-JP, CRLF)", "status: Reloaded gidai.txt.")

    def test_every_result_belongs_to_what_is_in_the_field(self):
        text = (TEXT + "Lipsum li. ") * 20_000
        self.file.write_bytes(text.encode("shift_jis"))
        with self.viewer() as viewer:
            viewer.key("ctrl+f")
            viewer.type("linux")
            line = ""
            while not line.startswith("status: linux found"):
                line = viewer.line()
                if " found: " in line:
                    wanted, count = line.removeprefix("status: ").split(" found: ")
                    self.assertEqual(int(count), text.lower().count(wanted), line)
            self.file.write_bytes(b"Linux")
            viewer.expect("status: linux found: 1")

    def test_about_box(self):
        with self.viewer() as viewer:
            viewer.key("F1")
            viewer.focus("About this viewer")
            viewer.key("Escape")
            viewer.focus("gidai")
            viewer.key("ctrl+q")
            self.assertEqual(viewer.process.wait(30), 0)

    def test_the_computers_name_changes(self):
        # In namespaces of its own, whose host name is the kernel's alone.
        (self.folder / "empty").touch()
        without_file = f'mount --bind "{self.folder}/empty" /etc/hostname && exec "$@"'
        apart = ["unshare", "--user", "--map-root-user", "--uts", "--mount", "sh", "-c", without_file, "sh"]
        if subprocess.run([*apart, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("no namespace to be had")
        if os.path.exists("/etc/machine-info"):
            self.skipTest("the computer has a name beside its host name")
        with self.viewer(before=apart) as viewer:
            inside = ["nsenter", "--target", str(viewer.process.pid), "--user", "--uts", "--preserve-credentials"]
            subprocess.run([*inside, "hostname", "kumquat"], check=True)
            viewer.expect("status: This computer is now called kumquat.")

    def test_remembers_a_password(self):
        if not shutil.which("curl"):
            self.skipTest("curl is not installed")
        try:
            with password_service() as keychain, FtpServer("me", "secret", {"remote.txt": TEXT.encode("euc_jp")}) as ftp:
                self.fetch_twice(keychain, ftp)
        except Missing as missing:
            self.skipTest(str(missing))

    def fetch_twice(self, keychain, ftp):
        def ask():
            viewer.key("ctrl+shift+o")
            viewer.focus("Open from FTP")
            viewer.type(f"ftp://127.0.0.1:{ftp.port}/remote.txt\tme\t")

        with self.viewer(environment=keychain) as viewer:
            ask()
            viewer.type("secret\t ")
            viewer.key("Return")
            viewer.expect("status: The keychain remembers the password.", "title: remote.txt (EUC-JP, CRLF)",
                          "status: Opened remote.txt.")
        with self.viewer(environment=keychain) as viewer:
            ask()
            viewer.expect("status: The keychain has the password.")
            viewer.key("Return")
            viewer.expect("status: Opened remote.txt.")
        self.assertEqual(ftp.logins, ["secret", "secret"])


try:
    path_of("xdotool")
    with XServer():
        pass
except Missing as missing:
    print(missing)
    sys.exit(77)
unittest.main()
