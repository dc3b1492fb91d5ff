"""The application on a desktop of its own: tests/torture/*_torture.cpp make the rows."""

import json
import os
import subprocess

from report import Row

# Much longer than any takes: an end for what hangs.
LIMIT = 6 * 3600


def run(build, folder, short, tests):
    rows_file = folder / "rows"
    rows_file.touch()
    environment = {**os.environ, "SOFTTOKEN_TORTURE_ROWS": str(rows_file)}
    # What a user's own session could bring in.
    for name in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"):
        environment.pop(name, None)
    if short:
        environment["SOFTTOKEN_TORTURE_SHORT"] = "1"
    ended = subprocess.run([build.desktop, f"--gtest_filter={tests}"], env=environment,
                           capture_output=True, text=True, timeout=LIMIT, check=False)
    rows = []
    for line in rows_file.read_text().splitlines():
        said = json.loads(line)
        rows.append(Row(said["case"], said["runs"], said["hits"], said["spared"],
                        [tuple(pair) for pair in said["failures"]], said["notes"]))
    if ended.returncode != 0 or not rows:
        row = Row(f"the run of {tests}")
        row.fail(f"exit {ended.returncode}: {(ended.stdout + ended.stderr)[-3000:]}")
        rows.append(row)
    return rows


def jobs_of(tests):
    return lambda build, folder, short: (
        [(tests, lambda: run(build, folder, short, tests))], None)
