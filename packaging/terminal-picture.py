#!/usr/bin/env python3
"""terminal-picture.py [--check] KVBANK - draws docs/images/terminal.svg again, or looks whether it is still true.

The commands below are run in a folder of their own, and what they print is drawn as a terminal of kColumns columns
shows it. Only times are not as they were: they differ from run to run, so every one is drawn as 0:01.
"""
import os
import re
import subprocess
import sys
import tempfile
from html import escape
from pathlib import Path

kPicture = Path(__file__).resolve().parent.parent / "docs/images/terminal.svg"
kFont = "/usr/share/sounds/sf2/FluidR3_GS.sf2"
kSession = (
    "kvbank import FluidR3_GS.sf2 -o Fluid.kvs",
    "kvbank build Fluid.kvs -d banks -r 48000,96000",
    "kvbank list banks --source Fluid.kvs",
    "kvbank verify banks/*.kvn --source Fluid.kvs",
    "kvbank render banks/Fluid_0BB80.kvn --program 2:122 --note 60 -o thunder.wav",
)
kColumns = 120
kCharacter, kLine, kMargin = 8.4, 20, 16  # in units of the picture, at a size of 14


def printed(program, folder):
    """The lines on the screen: those of commands begin with "$ "."""
    os.symlink(kFont, Path(folder) / "FluidR3_GS.sf2")
    environment = dict(os.environ, PATH=f"{program.parent}:{os.environ['PATH']}", LC_ALL="C.UTF-8")
    lines = []
    for command in kSession:
        done = subprocess.run(["sh", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=True)
        lines.append("$ " + command)
        lines += re.sub(r" in [0-9]+:[0-9:]+$", " in 0:01", done.stdout, flags=re.M).rstrip("\n").split("\n")
    return lines


def wrapped(lines):
    """The lines as a terminal breaks them: at its last column."""
    for line in lines:
        for at in range(0, max(len(line), 1), kColumns):
            yield line[at:at + kColumns]


def drawn(lines):
    """The picture. Each text has its width stated, so that every font keeps the columns."""
    rows = list(wrapped(lines))
    width, height = kColumns * kCharacter + 2 * kMargin, (len(rows) + 1) * kLine + kMargin
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:g}" height="{height:g}" '
             f'viewBox="0 0 {width:g} {height:g}" role="img" aria-label="kvbank in a terminal" '
             'font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="14">',
             f'<rect width="{width:g}" height="{height:g}" rx="8" fill="#1d1f27"/>']
    for number, row in enumerate(rows):
        colour = "#8fd48a" if row.startswith("$ ") else "#e4e5ea"
        if row.strip():
            parts.append(f'<text x="{kMargin}" y="{kMargin + (number + 0.75) * kLine:g}" fill="{colour}" '
                         f'textLength="{len(row) * kCharacter:g}" xml:space="preserve">{escape(row)}</text>')
    return "\n".join(parts + ["</svg>", ""])


def main():
    check = sys.argv[1] == "--check"
    with tempfile.TemporaryDirectory() as folder:
        picture = drawn(printed(Path(sys.argv[-1]).resolve(), folder))
    if not check:
        kPicture.write_text(picture)
    elif kPicture.read_text() != picture:
        sys.exit(f"{kPicture} is not what kvbank prints; packaging/screenshots.sh draws it again")


if __name__ == "__main__":
    main()
