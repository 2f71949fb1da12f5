#!/usr/bin/env python3
"""A private X server without a display, with monitors as asked.

x_server.py [WIDTHxHEIGHT+X+Y …] -- COMMAND …: runs COMMAND under one. The first monitor is the primary one."""

import os
import re
import subprocess

from processes import BOUND, Started, path_of, read_line, run_under


class XServer(Started):
    def __init__(self, *monitors, size="4000x3000", display=None, options=()):
        self.monitors, self.size, self.display, self.options = monitors, size, display, options

    def __enter__(self):
        read, write = os.pipe()
        # -noreset: else it forgets its monitors when its last client leaves.
        command = [path_of("Xvfb"), *filter(None, [self.display]), "-displayfd", str(write), "-screen", "0",
                   self.size + "x24", "-nolisten", "tcp", "-noreset", *self.options]
        self.process = subprocess.Popen(command, pass_fds=[write], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        try:
            self.display = ":" + read_line(read, self.process)
            self.environment = {"DISPLAY": self.display}
            # The first monitor takes the real output over, which would stay a monitor of its own otherwise.
            for number, place in enumerate(self.monitors):
                self.set_monitor(chr(ord("A") + number), place, primary=number == 0,
                                 output="screen" if number == 0 else "none")
        except BaseException:
            self.end()
            raise
        finally:
            os.close(read)
        return self

    def xrandr(self, *arguments):
        subprocess.run([path_of("xrandr"), "--display", self.display, *arguments], check=True, timeout=BOUND,
                       stdout=subprocess.DEVNULL)

    def set_monitor(self, name, place, primary=False, output="none"):
        """Adds the monitor @name at @place, as "1920x1080+0+0"."""
        width, height, x, y = map(int, re.fullmatch(r"(\d+)x(\d+)\+(\d+)\+(\d+)", place).groups())
        star = "*" if primary else ""
        self.xrandr("--setmonitor", star + name, f"{width}/{width // 4}x{height}/{height // 4}+{x}+{y}", output)

    def delete_monitor(self, name):
        self.xrandr("--delmonitor", name)


if __name__ == "__main__":
    run_under(XServer, without="WAYLAND_DISPLAY")
