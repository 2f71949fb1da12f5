#!/usr/bin/env python3
"""A private Wayland compositor without a display, with outputs as asked.

wayland_compositor.py [WIDTHxHEIGHT+X+Y[@SCALE] …] -- COMMAND …: runs COMMAND under one. X and Y are in points."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile

from processes import BOUND, Started, path_of, read_line, run_under

NOBODY = 65534


class WaylandCompositor(Started):
    """Its outputs are HEADLESS-1, HEADLESS-2, …"""

    def __init__(self, *outputs):
        self.outputs = outputs

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="jv-test-"))
        try:
            self.ready, self.config = self.folder / "ready", self.folder / "config"
            os.mkfifo(self.ready)
            lines = ["xwayland disable"]
            lines += [f"output HEADLESS-{number} {settings(output)}" for number, output in enumerate(self.outputs, 1)]
            lines += [f"exec echo $WAYLAND_DISPLAY > {self.ready}"]
            self.config.write_text("\n".join(lines) + "\n", encoding="utf-8")
            # The compositor does not work for root; root may connect to anybody's.
            self.as_whom = {}
            if os.geteuid() == 0:
                self.as_whom = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
                for path in self.folder, self.ready:
                    os.chown(path, NOBODY, NOBODY)
            self.start()
        except BaseException:
            shutil.rmtree(self.folder)
            raise
        return self

    def start(self):
        environment = {
            "PATH": os.environ["PATH"], "HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder),
            "SWAYSOCK": str(self.folder / "control"), "WLR_BACKENDS": "headless",
            "WLR_HEADLESS_OUTPUTS": str(len(self.outputs)), "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1",
        }
        # Both ends, so that there is an end to wait for before anybody writes.
        descriptor = os.open(self.ready, os.O_RDWR)
        try:
            self.process = subprocess.Popen([path_of("sway"), "-c", str(self.config)], env=environment, **self.as_whom,
                                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL)
            self.environment = {"XDG_RUNTIME_DIR": str(self.folder)}
            try:
                self.environment["WAYLAND_DISPLAY"] = read_line(descriptor, self.process)
                # It would overhear the signal that ends it before it works on events, as it does when it answers.
                self.command("nop")
            except BaseException:
                self.end()
                raise
        finally:
            os.close(descriptor)

    def __exit__(self, *failure):
        super().__exit__(*failure)
        shutil.rmtree(self.folder)

    def command(self, text):
        """Has the compositor carry out a command of its own."""
        subprocess.run([path_of("swaymsg"), "-s", str(self.folder / "control"), text], check=True, timeout=BOUND,
                       stdout=subprocess.DEVNULL)


def settings(output):
    width, height, x, y, scale = re.fullmatch(r"(\d+)x(\d+)\+(-?\d+)\+(-?\d+)(?:@([\d.]+))?", output).groups()
    return f"resolution {width}x{height} position {x} {y} scale {scale or 1}"


if __name__ == "__main__":
    run_under(WaylandCompositor, without="DISPLAY")
