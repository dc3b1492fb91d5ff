#!/usr/bin/env python3
"""Runs the torture of the built programs; see script/torture."""

import argparse
import importlib
import os
import re
import shutil
import sys
import time
from concurrent.futures import ThreadPoolExecutor

import home as homes
from report import Row, Table

# By name: the module with its jobs(build, folder, short), and the title of its table.
GROUPS = {
    "faults": "calls of the system that fail, by command",
    "kills": "kill -9 during changes of the vault",
    "keyring": "trouble at every message to a keyring, and kill -9",
    "races": "first starts at the same time",
    "damage": "flipped bits and cut files of the vault",
    "disk": "full disks",
    "identity": "another machine, disk or user",
}


def run_group(name, build, arguments):
    table = Table(f"{name}: {GROUPS[name]}")
    started = time.monotonic()
    folder = homes.scratch_folder()
    finish = None
    try:
        jobs, finish = importlib.import_module(name).jobs(build, folder, arguments.short)
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


def guarded(job):
    """The rows that the job makes; a fault of the torture itself is a failure too."""
    try:
        rows = job()
        return rows if isinstance(rows, list) else [rows]
    except Exception as error:  # pylint: disable=broad-except
        import traceback
        row = Row("a case that broke off")
        row.fail(f"{error}\n{traceback.format_exc()}")
        return [row]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("names", nargs="*")
    parser.add_argument("--case", default="", metavar="REGEX", help="only the cases with such names")
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--build", required=True)
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="at the same time")
    arguments = parser.parse_args()
    unknown = [name for name in arguments.names if name not in GROUPS]
    if unknown:
        parser.error(f"no case {unknown[0]}; there are: {', '.join(GROUPS)}")
    homes.check_passcodes_with_oathtool()
    build = homes.Build(arguments.build)
    good = True
    for name in arguments.names or GROUPS:
        good = run_group(name, build, arguments) and good
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
