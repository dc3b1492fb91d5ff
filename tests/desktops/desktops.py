#!/usr/bin/env python3
"""Runs the program on real desktops; see script/desktops."""

import argparse
import pathlib
import signal
import subprocess
import sys
import time
import traceback

from PIL import Image, ImageDraw

from environments import chosen
from session import Session
from walk import Walk

CHECKS = ["autostart", "icon", "click opens", "click closes", "double click", "place", "menu", "roll",
          "keys", "copy", "stays above", "Escape", "14 tokens", "32 tokens", "no animations",
          "bar again", "bar late"]


def versions(packages):
    if not packages:
        return ""
    listed = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *packages],
                            capture_output=True, text=True, check=False).stdout
    return ", ".join(listed.splitlines())


def walk_on(environment, arguments):
    session = Session(arguments.prefix.resolve(), *environment.size,
                      arguments.logs / f"{environment.name}.log")
    try:
        session.add_tokens(["Mail", "Work"])
        if environment.autostarts:
            session.let_start_at_login()
        environment.start(session)
        time.sleep(environment.wait)
        walk = Walk(session, environment, arguments.images, arguments.screenshots)
        try:
            walk.run()
        except Exception as error:  # pylint: disable=broad-except
            traceback.print_exc()
            walk.check("walk", f"broke off: {error}")
        return walk
    finally:
        session.close()


def table(walks):
    lines = ["| Desktop | Versions | " + " | ".join(CHECKS) + " | frames | first, last (ms) |",
             "|---" * (len(CHECKS) + 4) + "|"]
    for environment, walk in walks:
        results = dict(walk.results)
        cells = ["" if check not in results else "FAIL" if results[check] else "ok"
                 for check in CHECKS]
        figures = walk.figures
        times = ", ".join(f"{1000 * figures[name]:.0f}" for name in ("first", "last")
                          if name in figures)
        lines.append(f"| {environment.name} | {versions(environment.versions)} | "
                     + " | ".join(cells) + f" | {figures.get('frames', '')} | {times} |")
    return "\n".join(lines)


def contact_sheet(walks, folder):
    """The open panel on each desktop, small."""
    width, height, caption, columns = 320, 200, 16, 4
    rows = -(-len(walks) // columns)
    sheet = Image.new("RGB", (columns * width, rows * (height + caption)), "white")
    pen = ImageDraw.Draw(sheet)
    for number, (environment, _) in enumerate(walks):
        x, y = number % columns * width, number // columns * (height + caption)
        pen.text((x + 4, y + 2), environment.name, "black")
        path = folder / f"{environment.name}-open.png"
        if path.exists():
            image = Image.open(path)
            image.thumbnail((width - 4, height - 4), Image.LANCZOS)
            sheet.paste(image, (x + 2, y + caption))
    sheet.save(folder / "contact-sheet.jpg", quality=70)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--prefix", type=pathlib.Path, required=True)
    parser.add_argument("--images", type=pathlib.Path, required=True)
    parser.add_argument("--logs", type=pathlib.Path, required=True)
    parser.add_argument("--screenshots", type=pathlib.Path, required=True)
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    # Its sessions end with it.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    arguments.logs.mkdir(parents=True, exist_ok=True)
    walks = []
    for environment in chosen(arguments.names):
        print(f"{environment.name} ...", file=sys.stderr, flush=True)
        walk = walk_on(environment, arguments)
        walks.append((environment, walk))
        for name, wrong in walk.results:
            if wrong:
                print(f"  {name}: {wrong}", file=sys.stderr, flush=True)
    print(table(walks))
    contact_sheet(walks, arguments.screenshots)
    return 1 if any(wrong for _, walk in walks for _, wrong in walk.results) else 0


if __name__ == "__main__":
    sys.exit(main())
