"""jv_keychain_test.py JV [sanitized]: `jv keychain` as people and scripts use it, with a vault and without any service."""

import errno
import json
import os
import pty
import select
import signal
import subprocess
import sys
import tempfile
import unittest

JV = os.path.abspath(sys.argv.pop(1))
if "sanitized" in sys.argv:
    sys.argv.remove("sanitized")
BOUND = 60  # seconds, for whatever ought to end by itself
NOWHERE = {**os.environ, "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}


def run(*arguments, input=b"", **options):
    return subprocess.run([JV, "keychain", *arguments], input=input, capture_output=True, timeout=BOUND, check=False,
                          env=NOWHERE, **options)


class InVault(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.vault = os.path.join(self.folder.name, "own", "vault")

    def run_in_vault(self, *arguments, passphrase=b"correct horse\n", **options):
        """The passphrase comes through a pipe, as a script passes it."""
        reading, writing = os.pipe()
        os.write(writing, passphrase)
        os.close(writing)
        try:
            return run(*arguments, "--vault", self.vault, "--passphrase-fd", str(reading), pass_fds=[reading], **options)
        finally:
            os.close(reading)

    def test_from_saving_to_deleting(self):
        internet = "--host", "ftp.example.org", "--user", "me"
        generic = "--service", "app", "--account", "a"
        for why, arguments, stdin, expected in [
            ("there is no vault yet", ["get", *generic], b"", (3, b"")),
            ("saving makes it", ["save", *generic], b"secret\n", (0, b"")),
            ("the line feed is no part of it", ["get", *generic], b"", (0, b"secret\n")),
            ("but for the last one", ["save", *generic], b"two\n\n", (0, b"")),
            ("which get prints again", ["get", *generic], b"", (0, b"two\n\n")),
            ("bytes", ["save", *generic], b"\xff\0", (0, b"")),
            ("come back", ["get", *generic], b"", (0, b"\xff\0\n")),
            ("as hexadecimal digits", ["get", *generic, "--json"], b"", (0, b'{"passwordHex":"ff00"}\n')),
            ("another account", ["get", "--service", "app", "--account", "b"], b"", (1, b"")),
            ("ftp", ["save", *internet, "--protocol", "ftp"], b"f", (0, b"")),
            ("any finds it", ["get", *internet], b"", (0, b"f\n")),
            ("ftps does not", ["get", *internet, "--protocol", "ftps"], b"", (1, b"")),
            ("the list has no passwords", ["list", *internet[:2]], b"", (0, b"ftp.example.org\tme\tftp\tftp.example.org\n")),
            ("unless told to", ["list", *generic[:2], "--show-passwords"], b"", (0, b"app\ta\tapp/a\t$'\\377\\000'\n")),
            ("the label", ["save", *generic, "--separator", " - "], b"x", (0, b"")),
            ("is written", ["list", *generic[:2]], b"", (0, b"app\ta\tapp - a\n")),
            ("deleting", ["delete", *generic], b"", (0, b"")),
            ("again", ["delete", *generic], b"", (1, b"")),
            ("nothing to list", ["list", *generic[:2]], b"", (1, b"")),
        ]:
            with self.subTest(why):
                result = self.run_in_vault(*arguments, input=stdin)
                self.assertEqual((result.returncode, result.stdout), expected, result.stderr)
        line = json.loads(self.run_in_vault("list", *internet, "--json", "--show-passwords").stdout)
        self.assertEqual(line, {"host": "ftp.example.org", "account": "me", "protocol": "ftp",
                                "authentication": "default", "label": "ftp.example.org", "password": "f"})

    def test_names_that_are_no_text(self):
        bad = ["--service", "app", "--account", b"\xff"]
        self.run_in_vault("save", "--service", "app", "--account", "", input=b"empty")
        self.run_in_vault("save", *bad, input=b"bad")
        self.assertEqual(self.run_in_vault("get", *bad).stdout, b"bad\n")
        lines = self.run_in_vault("list", "--service", "app", "--json", "--show-passwords").stdout.splitlines()
        self.assertEqual([json.loads(line) for line in lines],
                         [{"service": "app", "account": "", "label": "app/", "password": "empty"},
                          {"service": "app", "accountHex": "ff", "labelHex": "6170702fff", "password": "bad"}])
        self.assertEqual(self.run_in_vault("delete", *bad).returncode, 0)
        self.assertEqual(self.run_in_vault("get", *bad).returncode, 1)
        self.assertEqual(self.run_in_vault("get", *bad[:3], "").stdout, b"empty\n")

    def test_status_and_wrong_passphrase(self):
        self.run_in_vault("save", "--service", "app", "--account", "a", input=b"x")
        status = self.run_in_vault("status")
        self.assertEqual((status.returncode, status.stdout), (0, b"vault %s: unlocked\n" % self.vault.encode()))
        self.assertEqual(json.loads(self.run_in_vault("status", "--json").stdout),
                         {"keychain": "vault " + self.vault, "locked": False})
        self.vault = os.path.join(self.folder.name, "own", "a\x1b[1m\udcff")
        self.run_in_vault("save", "--service", "app", "--account", "a", input=b"x")
        path = os.fsencode(self.folder.name) + b"/own/"
        self.assertEqual(self.run_in_vault("status").stdout, b"$'vault %sa\\033[1m\\377': unlocked\n" % path)
        self.assertEqual(json.loads(self.run_in_vault("status", "--json").stdout),
                         {"keychainHex": (b"vault %sa\x1b[1m\xff" % path).hex(), "locked": False})
        wrong = self.run_in_vault("save", "--service", "app", "--account", "a", input=b"y", passphrase=b"wrong")
        self.assertEqual(wrong.returncode, 3)
        self.assertIn(b"passphrase is wrong", wrong.stderr)
        self.assertEqual(self.run_in_vault("get", "--service", "app", "--account", "a").stdout, b"x\n")

    def test_asking_on_the_terminal(self):
        def typed(arguments, lines):
            """What a terminal shows while @lines are typed, each at its prompt, and the exit status."""
            child, terminal = pty.fork()
            if child == 0:
                os.execve(JV, [JV, "keychain", *arguments], NOWHERE)
            shown = b""
            waiting = list(lines)
            while True:
                if not select.select([terminal], [], [], BOUND)[0]:
                    os.kill(child, signal.SIGKILL)
                try:
                    piece = os.read(terminal, 4096)
                except OSError:
                    break
                if not piece:
                    break
                shown += piece
                if waiting and shown.endswith(b": "):
                    os.write(terminal, waiting.pop(0))
            os.close(terminal)
            return shown, os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])

        names = ["--service", "app", "--account", "a", "--vault", self.vault]
        shown, status = typed(["save", *names], [b"phrase\n", b"phrase\n", b"typed secret\n"])
        self.assertEqual(status, 0, shown)
        self.assertNotIn(b"phrase\r", shown)
        self.assertNotIn(b"typed", shown)
        self.assertEqual(self.run_in_vault("get", *names[:4], passphrase=b"phrase").stdout, b"typed secret\n")
        for typing in b"\x03", b"half a phr\x03":
            shown, status = typed(["get", *names], [typing])
            self.assertEqual(status, 3, "Ctrl-C gives up")
            self.assertIn(b"given up", shown)

    def test_a_password_that_cannot_be_printed(self):
        self.run_in_vault("save", "--service", "app", "--account", "a", input=b"\"q\\\n\x01\xc3\xa9")
        got = self.run_in_vault("get", "--service", "app", "--account", "a", "--json")
        self.assertEqual(json.loads(got.stdout), {"password": "\"q\\\n\x01\u00e9"})
        for arguments in ["get", "--service", "app", "--account", "a"], ["list", "--service", "app"], ["status"]:
            closed = self.run_in_vault(*arguments, preexec_fn=lambda: os.close(1))
            self.assertEqual(closed.returncode, 3)
            self.assertIn(os.strerror(errno.EBADF).encode(), closed.stderr)

    def test_bad_usage(self):
        for why, arguments in [
            ("neither host nor service", ["list"]),
            ("both", ["get", "--host", "h", "--user", "u", "--service", "s", "--account", "a"]),
            ("no user", ["get", "--host", "h"]),
            ("no account", ["save", "--service", "s"]),
            ("no command", []),
            ("unknown protocol", ["get", "--host", "h", "--user", "u", "--protocol", "http"]),
            ("a passphrase for no vault", ["status", "--passphrase-fd", "3"]),
            ("a password as argument", ["save", "--service", "s", "--account", "a", "secret"]),
            ("one stream for two secrets", ["save", "--service", "s", "--account", "a", "--vault", self.vault,
                                            "--passphrase-fd", "0"]),
        ]:
            with self.subTest(why):
                self.assertEqual(run(*arguments).returncode, 2)

    def test_without_any_service(self):
        for arguments in (["get", "--service", "s", "--account", "a"], ["save", "--host", "h", "--user", "u"],
                          ["list", "--host", "h"], ["status"]):
            result = run(*arguments, input=b"secret")
            self.assertEqual((result.returncode, result.stdout), (3, b""))
            self.assertIn(b"-25291", result.stderr)
            self.assertNotIn(b"secret", result.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=0)
