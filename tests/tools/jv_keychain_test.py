"""jv_keychain_test.py JV [sanitized]: `jv keychain` as people and scripts use it, with a vault and without any service."""

import contextlib
import json
import os
import pty
import select
import signal

from support import BOUND, JV, NOWHERE, ToolTest, jv, main

APP = "--service", "app", "--account", "a"


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
            return jv("keychain", *arguments, "--vault", self.vault, "--passphrase-fd", str(reading), env=NOWHERE,
                      pass_fds=[reading], **options)
        finally:
            os.close(reading)

    def test_from_saving_to_deleting(self):
        internet = "--host", "ftp.example.org", "--user", "me"
        for why, arguments, stdin, expected in [
            ("there is no vault yet", ["get", *APP], b"", (3, b"")),
            ("saving makes it", ["save", *APP], b"two\n\n", (0, b"")),
            ("the last line feed is no part of it", ["get", *APP], b"", (0, b"two\n\n")),
            ("bytes", ["save", *APP], b"\xff\0", (0, b"")),
            ("as hexadecimal digits", ["get", *APP, "--json"], b"", (0, b'{"passwordHex":"ff00"}\n')),
            ("ftp", ["save", *internet, "--protocol", "ftp"], b"f", (0, b"")),
            ("ftps does not find it", ["get", *internet, "--protocol", "ftps"], b"", (1, b"")),
            ("the list has no passwords", ["list", *internet[:2]], b"", (0, b"ftp.example.org\tme\tftp\tftp.example.org\n")),
            ("unless told to", ["list", *APP[:2], "--show-passwords"], b"", (0, b"app\ta\tapp/a\t$'\\377\\000'\n")),
            ("the label", ["save", *APP, "--separator", " - "], b"x", (0, b"")),
            ("is written", ["list", *APP[:2]], b"", (0, b"app\ta\tapp - a\n")),
            ("deleting", ["delete", *APP], b"", (0, b"")),
            ("again", ["delete", *APP], b"", (1, b"")),
        ]:
            with self.subTest(why):
                result = self.run_in_vault(*arguments, input=stdin)
                self.assertEqual((result.returncode, result.stdout), expected, result.stderr)
        line = json.loads(self.run_in_vault("list", *internet, "--json", "--show-passwords").stdout)
        self.assertEqual(line, {"host": "ftp.example.org", "account": "me", "protocol": "ftp",
                                "authentication": "default", "label": "ftp.example.org", "password": "f"})

    def test_status_and_wrong_passphrase(self):
        self.vault = str(self.folder / "own/a\x1b")
        self.run_in_vault("save", *APP, input=b"x")
        status = self.run_in_vault("status").stdout.decode()
        self.assertEqual(status, f"$'vault {self.folder}/own/a\\033': unlocked\n")
        wrong = self.run_in_vault("get", *APP, passphrase=b"wrong")
        self.assertEqual((wrong.returncode, wrong.stdout), (3, b""))
        self.assertIn(b"passphrase is wrong", wrong.stderr)

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
        self.assertEqual(self.run_in_vault("get", *APP, passphrase=b"phrase").stdout, b"typed secret\n")
        shown, status = typed(["get", *names], [b"half a phr\x03"])
        self.assertEqual(status, 3, "Ctrl-C gives up")
        self.assertIn(b"given up", shown)

    def test_without_any_service(self):
        for arguments in ["get", *APP], ["save", *APP], ["list", "--host", "h"], ["status"]:
            result = jv("keychain", *arguments, env=NOWHERE, input=b"secret")
            self.assertEqual((result.returncode, result.stdout), (3, b""), arguments)
            self.assertIn(b"-25291", result.stderr)
            self.assertNotIn(b"secret", result.stderr)


main()
