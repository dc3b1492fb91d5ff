#!/usr/bin/env python3
"""Runs the torture of the built programs; see script/torture."""

import argparse
import os
import re
import shutil
import signal
import sys
import time
import traceback
from concurrent.futures import ThreadPoolExecutor

import damage
import desktop
import disk
import faults
import home as homes
import identity
import keyring
import kills
import races
from report import Row, Table

# By name: what makes the jobs, and the title of the table.
GROUPS = {
    "faults": (faults.jobs, "calls of the system that fail, by command"),
    "kills": (kills.jobs, "kill -9 during changes of the vault"),
    "keyring": (keyring.jobs, "trouble at every message to a keyring, and kill -9"),
    "races": (races.jobs, "first starts at the same time"),
    "damage": (damage.jobs, "flipped bits and cut files of the vault"),
    "disk": (disk.jobs, "full disks"),
    "identity": (identity.jobs, "another machine, disk or user"),
    "application": (desktop.jobs_of("ApplicationTorture.*"),
                    "calls of the system that fail while the panel opens, copies and closes"),
    "hangs": (desktop.jobs_of("ServerTorture.*:KeyringTorture.*:HangTorture.*"),
              "time without a painted frame, and until the panel obeys"),
    "memory": (desktop.jobs_of("MemoryTorture.*"),
               "secrets in the application's memory after its panel has closed"),
}
ON_DESKTOP = ("application", "hangs", "memory")


def guarded(job):
    """The rows that the job makes; a fault of the torture itself is a failure too."""
    try:
        rows = job()
        return rows if isinstance(rows, list) else [rows]
    except Exception as error:  # pylint: disable=broad-except
        row = Row("a case that broke off")
        row.fail(f"{error}\n{traceback.format_exc()}")
        return [row]


def run_group(name, build, arguments):
    """Whether all went well."""
    jobs_of_group, title = GROUPS[name]
    table = Table(f"{name}: {title}")
    started = time.monotonic()
    folder = homes.scratch_folder()
    finish = None
    try:
        jobs, finish = jobs_of_group(build, folder, arguments.short)
        wanted = [job for case, job in jobs if re.search(arguments.case, case)]
        with ThreadPoolExecutor(arguments.jobs) as pool:
            for future in [pool.submit(guarded, job) for job in wanted]:
                for row in future.result():
                    table.add(row)
    finally:
        if finish:
            finish()
        shutil.rmtree(folder, ignore_errors=True)
    table.print(time.monotonic() - started)
    return not table.failed()


def main():
    parser = argparse.ArgumentParser(prog="script/torture")
    parser.add_argument("names", nargs="*", metavar="NAME", help=f"of {', '.join(GROUPS)}")
    parser.add_argument("--short", action="store_true", help="a sample that takes minutes")
    parser.add_argument("--case", default="", metavar="REGEX", help="only the cases of such a name")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="at the same time")
    parser.add_argument("--build", required=True, help="folder of the built programs")
    arguments = parser.parse_args()
    unknown = [name for name in arguments.names if name not in GROUPS]
    if unknown:
        parser.error(f"there is no {unknown[0]}; choose of {', '.join(GROUPS)}")
    # Whoever ends us ends what we started, and what we wrote.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    signal.signal(signal.SIGINT, lambda *_: sys.exit(1))
    homes.check_passcodes_with_oathtool()
    build = homes.Build(arguments.build)
    names = arguments.names or list(GROUPS)
    if not arguments.short:
        return 0 if all([run_group(name, build, arguments) for name in names]) else 1
    # The desktop waits most of the time: the others go on meanwhile.
    on_desktop = [name for name in names if name in ON_DESKTOP]
    with ThreadPoolExecutor(2) as pool:
        rows = [pool.submit(lambda some: [run_group(name, build, arguments) for name in some], some)
                for some in (on_desktop, [name for name in names if name not in ON_DESKTOP])]
    return 0 if all(good for row in rows for good in row.result()) else 1


if __name__ == "__main__":
    sys.exit(main())
