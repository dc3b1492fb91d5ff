"""Changes on a file system with room for so many pages more."""

import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import home as homes
from report import Row

PAGE = 4096
MOST_PAGES = 24  # with more there is room for everything
SIZE = 1 << 20


def fill(folder, pages_left):
    """Takes all room but that many pages."""
    filler = folder / "filler"
    free = os.statvfs(folder)
    size = free.f_bavail * free.f_frsize - pages_left * PAGE
    with open(filler, "wb") as file:
        os.posix_fallocate(file.fileno(), 0, max(size, 1))
    return filler


def one(home, start, place, command, pages, row):
    home.go_back_to(start)
    filler = fill(place, pages)
    row.runs += 1
    try:
        before = home.files()
        ended = home.run(command.arguments, command.given)
        if ended.code != 0:
            row.hits += 1
            wrong = homes.unclear(ended.err)
            if ended.code not in (1, 4) or wrong:
                raise homes.Trouble(f"exit {ended.code}, the message {wrong}: {ended.err!r}")
        # The disk is full still: reading needs no room.
        if ended.code == 0:
            home.check_shown(command.after)
        else:
            home.check_shown(homes.KNOWN)
            if home.files() != before:
                raise homes.Trouble(f"refused, but other files: {sorted(home.files())}")
        filler.unlink()
        home.seen.clear()
        home.check_shown(command.after if ended.code == 0 else homes.KNOWN)
        if ended.code != 0:
            ended = home.run(command.arguments, command.given)
            if ended.code != 0:
                raise homes.Trouble(f"with room again: {ended}")
            home.check_shown(command.after)
    except homes.Trouble as trouble:
        row.fail(trouble, f"{pages} pages left")
    filler.unlink(missing_ok=True)


def inside(build, place, short):
    """Within a mount namespace of our own, where the folder is a small file system."""
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={SIZE}", "none", str(place)], check=True)
    outside = homes.scratch_folder()
    rows = []
    try:
        template = homes.vault_template(build, outside / "template")
        home = template.copy_to(place / "home")
        for command in homes.commands():
            row = Row(f"{command.name}: room for 0 to {MOST_PAGES} pages")
            for pages in range(0, MOST_PAGES + 1, 3 if short else 1):
                one(home, template, place, command, pages, row)
            rows.append(row)
    finally:
        shutil.rmtree(outside)
        subprocess.run(["umount", "-l", str(place)], check=False)
    print(json.dumps([[row.case, row.runs, row.hits, row.failures] for row in rows]))


def outside(build, folder, short):
    """All rows in one: the namespace is another process's."""
    place = folder / "small"
    place.mkdir()
    rights = [] if os.getuid() == 0 else ["--map-root-user"]
    command = ["unshare", "--mount", *rights, "--propagation", "private", sys.executable, __file__,
               str(build.folder), str(place), "short" if short else "full"]
    said = subprocess.run(command, capture_output=True, text=True, check=False)
    row = Row("any command: room for 0 to 24 pages")
    if said.returncode != 0:
        row.notes.append("not run, because no file system can be mounted here: "
                         + said.stderr.strip()[-200:])
        if "rmission" not in said.stderr and "permitted" not in said.stderr:
            row.fail(said.stderr)
        return [row]
    rows = []
    for case, runs, hits, failures in json.loads(said.stdout):
        rows.append(Row(case, runs, hits, 0, [tuple(pair) for pair in failures]))
    return rows


def jobs(build, folder, short):
    return [("full disk", lambda: outside(build, folder, short))], None


if __name__ == "__main__":
    inside(homes.Build(sys.argv[1]), Path(sys.argv[2]), sys.argv[3] == "short")
