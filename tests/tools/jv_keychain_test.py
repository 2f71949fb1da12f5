"""jv_keychain_test.py JV [sanitized]: `jv keychain` as people and scripts use it, with a vault and without any service."""

import contextlib
import errno
import json
import os
import pty
import select
import signal
import unittest

from support import BOUND, JV, NOWHERE, SANITIZED, ToolTest, jv

APP = "--service", "app", "--account", "a"


def run(*arguments, **options):
    return jv("keychain", *arguments, env=NOWHERE, **options)


class InVault(ToolTest):
    def setUp(self):
        super().setUp()
        self.vault = str(self.folder / "own/vault")

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
        for why, arguments, stdin, expected in [
            ("there is no vault yet", ["get", *APP], b"", (3, b"")),
            ("saving makes it", ["save", *APP], b"secret\n", (0, b"")),
            ("the line feed is no part of it", ["get", *APP], b"", (0, b"secret\n")),
            ("but for the last one", ["save", *APP], b"two\n\n", (0, b"")),
            ("which get prints again", ["get", *APP], b"", (0, b"two\n\n")),
            ("bytes", ["save", *APP], b"\xff\0", (0, b"")),
            ("come back", ["get", *APP], b"", (0, b"\xff\0\n")),
            ("as hexadecimal digits", ["get", *APP, "--json"], b"", (0, b'{"passwordHex":"ff00"}\n')),
            ("another account", ["get", "--service", "app", "--account", "b"], b"", (1, b"")),
            ("ftp", ["save", *internet, "--protocol", "ftp"], b"f", (0, b"")),
            ("any finds it", ["get", *internet], b"", (0, b"f\n")),
            ("ftps does not", ["get", *internet, "--protocol", "ftps"], b"", (1, b"")),
            ("the list has no passwords", ["list", *internet[:2]], b"", (0, b"ftp.example.org\tme\tftp\tftp.example.org\n")),
            ("unless told to", ["list", *APP[:2], "--show-passwords"], b"", (0, b"app\ta\tapp/a\t$'\\377\\000'\n")),
            ("the label", ["save", *APP, "--separator", " - "], b"x", (0, b"")),
            ("is written", ["list", *APP[:2]], b"", (0, b"app\ta\tapp - a\n")),
            ("deleting", ["delete", *APP], b"", (0, b"")),
            ("again", ["delete", *APP], b"", (1, b"")),
            ("nothing to list", ["list", *APP[:2]], b"", (1, b"")),
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
        self.run_in_vault("save", *APP, input=b"x")
        status = self.run_in_vault("status")
        self.assertEqual((status.returncode, status.stdout), (0, b"vault %s: unlocked\n" % self.vault.encode()))
        self.assertEqual(json.loads(self.run_in_vault("status", "--json").stdout),
                         {"keychain": "vault " + self.vault, "locked": False})
        self.vault = str(self.folder / "own/a\x1b[1m\udcff")
        self.run_in_vault("save", *APP, input=b"x")
        path = os.fsencode(self.folder) + b"/own/"
        self.assertEqual(self.run_in_vault("status").stdout, b"$'vault %sa\\033[1m\\377': unlocked\n" % path)
        self.assertEqual(json.loads(self.run_in_vault("status", "--json").stdout),
                         {"keychainHex": (b"vault %sa\x1b[1m\xff" % path).hex(), "locked": False})
        wrong = self.run_in_vault("save", *APP, input=b"y", passphrase=b"wrong")
        self.assertEqual(wrong.returncode, 3)
        self.assertIn(b"passphrase is wrong", wrong.stderr)
        self.assertEqual(self.run_in_vault("get", *APP).stdout, b"x\n")

    def test_asking_on_the_terminal(self):
        def typed(arguments, lines):
            """What a terminal shows while @lines are typed, each at its prompt, and the exit status."""
            child, terminal = pty.fork()
            if child == 0:
                os.execve(JV, [JV, "keychain", *arguments], NOWHERE)
            shown = b""
            waiting = list(lines)
            with contextlib.suppress(OSError):  # the other end is closed
                while True:
                    if not select.select([terminal], [], [], BOUND)[0]:
                        os.kill(child, signal.SIGKILL)
                    shown += os.read(terminal, 4096)
                    if waiting and shown.endswith(b": "):
                        os.write(terminal, waiting.pop(0))
            os.close(terminal)
            return shown, os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])

        names = [*APP, "--vault", self.vault]
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
        self.run_in_vault("save", *APP, input=b"\"q\\\n\x01\xc3\xa9")
        got = self.run_in_vault("get", *APP, "--json")
        self.assertEqual(json.loads(got.stdout), {"password": "\"q\\\n\x01\u00e9"})
        for arguments in ["get", *APP], ["list", "--service", "app"], ["status"]:
            closed = self.run_in_vault(*arguments, preexec_fn=lambda: os.close(1))
            self.assertEqual(closed.returncode, 3)
            self.assertIn(os.strerror(errno.EBADF).encode(), closed.stderr)

    def expect_no_service(self, why, **variables):
        for arguments in (["get", *APP], ["save", *APP], ["delete", *APP], ["get", "--host", "h", "--user", "u"],
                          ["save", "--host", "h", "--user", "u"], ["list", "--host", "h"], ["status"]):
            with self.subTest(arguments=arguments):
                result = jv("keychain", *arguments, env={**NOWHERE, **variables}, input=b"secret")
                self.assertEqual((result.returncode, result.stdout), (3, b""))
                self.assertIn(why, result.stderr)
                self.assertNotIn(b"secret", result.stderr)

    def test_without_any_service(self):
        self.expect_no_service(b"-25291")

    @unittest.skipIf(SANITIZED, "the sanitizer would have to be found first")
    def test_without_modules(self):
        self.expect_no_service(b"Install what is missing", **self.without_modules())


unittest.main()
