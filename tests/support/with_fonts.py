"""with_fonts.py [--none] COMMAND…: runs COMMAND with DejaVu and Liberation as the only fonts, or with none at all.

Ends with COMMAND's status, or with 77 when the fonts are not installed. JV_TEST_FONTS names an empty folder whose fonts
count as installed as well, and which fontconfig looks at again after a second."""

import os
import pathlib
import subprocess
import sys
import tempfile

FOLDERS = ("/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/truetype/liberation")
NEEDED = ("DejaVuSans.ttf", "DejaVuSansCondensed.ttf"), ("LiberationSans-Regular.ttf", "LiberationMono-Regular.ttf")
SKIPPED = 77

# As desktops have them, the rules that fake a missing bold or italic face are there: they must not deceive anybody.
CONFIGURATION = """<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig>
  {folders}
  <cachedir>{private}/cache</cachedir>
  <config><rescan><int>1</int></rescan></config>
  <alias binding="same"><family>sans-serif</family><prefer><family>DejaVu Sans</family></prefer></alias>
  <match target="font">
    <test name="weight" compare="less_eq"><const>medium</const></test>
    <test target="pattern" name="weight" compare="more_eq"><const>bold</const></test>
    <edit name="embolden" mode="assign"><bool>true</bool></edit>
    <edit name="weight" mode="assign"><const>bold</const></edit>
  </match>
  <match target="font">
    <test name="slant"><const>roman</const></test>
    <test target="pattern" name="slant" compare="not_eq"><const>roman</const></test>
    <edit name="slant" mode="assign"><const>oblique</const></edit>
  </match>
</fontconfig>
"""


def missing():
    """The files that ought to be there."""
    files = [pathlib.Path(folder, name) for folder, names in zip(FOLDERS, NEEDED) for name in names]
    return [str(file) for file in files if not file.exists()]


def environment(private, folders=FOLDERS):
    """What to run a program with; @private is a folder that stays while it runs."""
    more = pathlib.Path(private, "fonts")
    more.mkdir()
    configuration = pathlib.Path(private, "fonts.conf")
    listed = "".join(f"<dir>{folder}</dir>" for folder in (*folders, more))
    configuration.write_text(CONFIGURATION.format(folders=listed, private=private), encoding="utf-8")
    return {"FONTCONFIG_FILE": str(configuration), "JV_TEST_FONTS": str(more), "LC_ALL": "C.UTF-8"}


def main():
    command = sys.argv[1:]
    folders = FOLDERS
    if command[0] == "--none":
        command, folders = command[1:], ()
    if folders and missing():
        print("skipped, not installed:", *missing())
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory() as private:
        status = subprocess.run(command, env={**os.environ, **environment(private, folders)}, check=False).returncode
    sys.exit(status if status >= 0 else 128 - status)


if __name__ == "__main__":
    main()
