"""viewer_test.py VIEWER: the example viewer as people use it. Exits with 77 where it cannot be driven."""

import os
import pathlib
import sys
import tempfile
import unittest

from viewer_driver import Viewer
from processes import Missing, path_of
from x_server import XServer

VIEWER = os.path.abspath(sys.argv.pop(1))
TEXT = "本日の議題\r\nLinux の文字コードについて\r\nlinux と LINUX\r\n"


class ViewerTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name, "gidai.txt")
        self.file.write_bytes(TEXT.encode("shift_jis"))
        # Nothing of the user's own: no settings, no bus.
        own = dict.fromkeys(("HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "TMPDIR"), folder.name)
        self.environment = {**server.environment, **own, "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}

    def viewer(self):
        return Viewer(VIEWER, self.file, self.environment)

    def test_shows_and_follows_a_file(self):
        with self.viewer() as viewer:
            viewer.expect("title: gidai.txt (Shift_JIS, CRLF)", "status: Opened gidai.txt.")
            fresh = self.file.with_name("fresh")  # as editors save
            fresh.write_bytes("日本語です。\n".encode())
            fresh.rename(self.file)
            viewer.expect("title: gidai.txt (UTF-8, LF)", "status: Reloaded gidai.txt.")

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

    def test_dialogs(self):
        with self.viewer() as viewer:
            viewer.key("F1")
            viewer.focus("About this viewer")
            viewer.key("Escape")
            viewer.focus("gidai")
            viewer.key("ctrl+shift+o")
            viewer.focus("Open from FTP")
            viewer.type("ftp://127.0.0.1/remote.txt\tme\t")
            while not viewer.line().startswith("status: Error reading credentials from the keychain"):
                pass  # there is none


try:
    path_of("xdotool")
    with XServer("1280x800+0+0", size="1280x800") as server:
        unittest.main()
except Missing as missing:
    print(missing)
    sys.exit(77)
