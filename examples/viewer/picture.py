"""picture.py VIEWER PICTURE: makes the picture of the viewer in the documentation, a PNG file.

Needs ImageMagick, and the fonts of the packages fonts-noto-core and fonts-noto-cjk."""

import os
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/examples"))

from viewer_driver import Viewer  # noqa: E402  (the folder is known only now)
from x_server import XServer  # noqa: E402

FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd"><fontconfig>
<include ignore_missing="yes">/etc/fonts/fonts.conf</include>
<alias><family>sans-serif</family><prefer><family>Noto Sans</family><family>Noto Sans CJK JP</family></prefer></alias>
<alias><family>monospace</family><prefer><family>Noto Sans Mono CJK JP</family></prefer></alias>
</fontconfig>"""

LETTER = """\
春の遠足のお知らせ

四月十二日（土）に、川沿いの桜を見に行きます。
集合は午前九時、駅の北口です。お弁当と水筒を忘れずに。

　・駅から公園まで歩いて三十分ほどです。
　・公園では写真を撮ったり、ボールで遊んだりします。
　・雨のときは、公園のとなりの郷土資料館を見学します。

帰りは午後三時ごろの予定です。
質問のある人は、前の日までに電話でお知らせください。

町内会　子ども部
"""


def capture(viewer, window, file):
    subprocess.run(["import", "-window", window, file], env=viewer.environment, check=True, timeout=60)


def with_shadow(file):
    return ["(", file, "-bordercolor", "#c8c8c8", "-border", "1", "(", "+clone", "-background", "black", "-shadow",
            "45x10+0+4", ")", "+swap", "-background", "none", "-layers", "merge", "+repage", ")"]


def make(program, picture, folder):
    letter, configuration = folder / "ensoku.txt", folder / "fonts.conf"
    letter.write_bytes(LETTER.replace("\n", "\r\n").encode("shift_jis"))
    configuration.write_text(FONTS)
    with XServer("1920x1080+0+0", "1280x1024+1920+56", size="3200x1080") as server:
        environment = {**server.environment, "HOME": str(folder), "XDG_RUNTIME_DIR": str(folder),
                       "FONTCONFIG_FILE": str(configuration), "QT_FONT_DPI": "120"}
        with Viewer(program, letter, environment) as viewer:
            viewer.xdotool("windowsize", "--sync", viewer.window, "820", "500")
            viewer.key("ctrl+f")
            viewer.xdotool("type", "--delay", "100", "公園")
            viewer.expect("status: 公園 found: 3")
            capture(viewer, viewer.window, folder / "window.png")
            viewer.key("F1")
            box = viewer.focus("About this viewer")
            capture(viewer, box, folder / "about.png")
    subprocess.run(["convert", "-size", "1140x560", "xc:none", *with_shadow(folder / "window.png"), "-gravity",
                    "NorthWest", "-geometry", "+0+0", "-composite", *with_shadow(folder / "about.png"), "-gravity",
                    "East", "-geometry", "+0+0", "-composite", "-trim", "+repage", "-strip", picture], check=True)


with tempfile.TemporaryDirectory() as name:
    make(os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), pathlib.Path(name))
