"""The n-th call of the system fails, n = 1, 2, 3 ... until none is hit, in every command."""

import errno
import functools
import http.client
import itertools
import mmap
import re
import struct
import subprocess
import time
from pathlib import Path

import home as homes
from report import Row

# As fault_control.h has it.
CALLS = ["none", "open", "read", "write", "fsync", "rename", "link", "ftruncate", "mmap", "getrandom",
         "malloc", "send", "receive", "stat", "lock", "make_folder", "unlink", "passwd"]
BEFORE = struct.Struct("=Iiqq512s256s")
AFTER = struct.Struct("=qqq1024s")
FOREVER = 2**62

# Numbers that a short run tries of one call, spread over all.
MOST_OF_SHORT = 8
SHORT_COMMANDS = ("add", "delete", "list", "enrol")

# What fails, with which error, and whether all later calls fail too.
KINDS = [
    ("open", errno.EMFILE, False),
    ("open", errno.EACCES, False),
    ("open", errno.EIO, True),
    ("read", errno.EIO, False),
    ("write", errno.ENOSPC, False),
    ("write", errno.ENOSPC, True),
    ("fsync", errno.EIO, False),
    ("rename", errno.EIO, False),
    ("link", errno.EPERM, False),
    ("ftruncate", errno.ENOSPC, False),
    ("mmap", errno.ENOMEM, False),
    ("getrandom", errno.EIO, False),
    ("stat", errno.EACCES, False),
    ("lock", errno.ENOLCK, False),
    ("make_folder", errno.ENOSPC, False),
    ("unlink", errno.EIO, False),
    ("passwd", errno.EIO, False),
    ("passwd", 0, False),
    ("send", errno.EPIPE, False),
    ("receive", errno.ECONNRESET, False),
    ("malloc", errno.ENOMEM, False),
]

# Libraries that end the program by design, or by their neglect, when they get no memory or no
# randomness: what they are asked for is theirs to answer for. By the name of the module whose call
# was refused, or through which it was.
ABORTING = {
    ("malloc", "libglib-2.0.so.0"): "g_malloc() ends the program",
    ("malloc", "libgobject-2.0.so.0"): "g_malloc() ends the program",
    ("malloc", "libgio-2.0.so.0"): "g_malloc() ends the program",
    ("malloc", "libsecret-1.so.0"): "g_malloc() ends the program",
    ("getrandom", "libsodium.so.23"): "sodium_misuse() ends the program",
    ("malloc", "libplist-2.0.so.3"): "does not look at what malloc() gives it",
    ("malloc", "libzbar.so.0"): "does not look at what malloc() gives it",
}
# The same for what has no module of its own, by what the function that asked is called.
ABORTING_FUNCTIONS = {
    "talvane::readUserEntry": "getpwuid_r() of the C library does not look at what malloc() gives it",
    "nlohmann::": "a JSON value asks for memory in its destructor, which ends the program",
}


class Control:
    """The mapped file that tells a program which of its calls fail."""

    def __init__(self, path):
        path.write_bytes(bytes(BEFORE.size + AFTER.size))
        self.path = path
        with open(path, "r+b") as file:
            self.map = mmap.mmap(file.fileno(), 0)

    def arm(self, call, error, first, last, spared="", only=""):
        told = (CALLS.index(call), error, first, last, spared.encode(), only.encode())
        self.map[:] = BEFORE.pack(*told) + bytes(AFTER.size)

    def disarm(self):
        self.map[0:4] = struct.pack("=I", 0)

    def result(self):
        calls, hits, spared, where = AFTER.unpack(self.map[BEFORE.size:])
        return calls, hits, spared, where.split(b"\0")[0].decode()


def callers(where):
    """The modules that took part in the refused call, innermost first, without the C libraries."""
    modules = []
    for frame in where.split():
        module = frame.rsplit("+", 1)[0]
        if module not in modules and module not in ("libc.so.6", "libstdc++.so.6"):
            modules.append(module)
    return modules


@functools.lru_cache(maxsize=None)
def source_line(path, offset):
    """The function and the line at the offset in a program or module of ours."""
    said = subprocess.run(["addr2line", "-sfCe", path, hex(offset)], capture_output=True, text=True,
                          check=False).stdout.split("\n")
    return "" if len(said) < 2 or said[0] == "??" else f"{said[0].split('(')[0]} {said[1]}"


def functions(build, where):
    """The functions and lines in our program and modules that the refused call came through."""
    for frame in where.split():
        module, offset = frame.rsplit("+", 1)
        for path in (build.folder / "bin" / module, build.folder / "lib/softtoken" / module):
            if path.is_file():
                yield source_line(str(path), int(offset, 16) - 1)


def source_lines(build, where, limit=4):
    """Those that are ours rather than what our templates and headers bring in."""
    ours = (line for line in functions(build, where) if line.startswith(("talvane", "main ")))
    return "; ".join(itertools.islice(ours, limit))


def is_spared(build, call, ended, where):
    """Why a crash is not ours, or nothing."""
    if ended.code >= 0:
        return ""
    if call == "malloc" and "softtoken-cli" in where and not source_lines(build, where):
        return "what CLI11 and the C++ library make before main()"
    for module in callers(where):
        if (call, module) in ABORTING:
            return f"{module}: {ABORTING[call, module]}"
    if call == "malloc":
        for line in functions(build, where):
            for name, reason in ABORTING_FUNCTIONS.items():
                if line.startswith(name):
                    return reason
    return ""


def case_name(command, kind):
    call, error, lasting = kind
    name = f"{command.name}: {call}" + (" from then on" if lasting else "")
    return name + {errno.EACCES: " (denied)", 0: " (nobody)"}.get(error, "")


class Faults:
    def __init__(self, build, folder, template, short):
        self.build = build
        self.folder = folder
        self.template = template
        self.short = short

    def run(self, command, kind):
        """One row of the table."""
        call, error, lasting = kind
        row = Row(case_name(command, kind))
        place = self.folder / re.sub(r"\W+", "-", row.case)
        home = self.template.copy_to(place)
        start = home.copy_to(Path(str(place) + "-start"))
        clean = home.run(command.arguments, command.given).out if command.compares else ""
        control = Control(place / "control")
        more = {"LD_PRELOAD": self.build.faults, "SOFTTOKEN_FAULTS": str(control.path)}
        number, step = 0, 1
        while True:
            home.go_back_to(start)
            # The first time, none fails: how many are there?
            control.arm(call, error, number or FOREVER, FOREVER if lasting else number or FOREVER)
            began = time.time()
            ended = home.run(command.arguments, command.given, more=more)
            calls, hits, _, where = control.result()
            row.runs += 1
            row.hits += hits
            try:
                self.judge(home, command, ended, clean, began, call, where, row)
            except homes.Trouble as trouble:
                row.fail(trouble, f"{call} number {number}: {source_lines(self.build, where) or where}")
            if number == 0:
                step = max(1, calls // MOST_OF_SHORT) if self.short else 1
            elif hits == 0:
                break
            number += step
        homes.shutil.rmtree(place)
        homes.shutil.rmtree(start.folder)
        return row

    def judge(self, home, command, ended, clean, began, call, where, row):
        reason = is_spared(self.build, call, ended, where)
        if reason:
            row.spared += 1
            row.notes.append(f"spared, {reason}")
            homes.check_either(home, command)
            return
        homes.judge(home, command, ended, clean, began)


class DemoServer:
    """The enrolment server of the project with as many users as wanted."""

    def __init__(self, build, folder, users):
        folder.mkdir()
        (folder / "users").write_text("".join(f"{user}\n" for user in users))
        addresses = folder / "addresses"
        self.process = subprocess.Popen(
            [build.demo_server, "--users", str(folder / "users"), "--addresses", str(addresses)],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(500):
            if addresses.exists() and addresses.read_text().endswith("\n"):
                break
            time.sleep(0.02)
        self.address = addresses.read_text().splitlines()[0]

    def end(self):
        self.process.kill()
        self.process.wait()

    def verify(self, user, digits):
        host = self.address.split("//")[1].split("/")[0]
        link = http.client.HTTPConnection(host, timeout=20)
        link.request("GET", f"/verify?user={user}&code={digits}")
        said = link.getresponse().read().decode()
        link.close()
        if said != "valid\n":
            raise homes.Trouble(f"the server says of the passcode of {user}: {said!r}")


def jobs(build, folder, short):
    """The cases by name, each a function that makes a row; and what ends it all."""
    template = homes.vault_template(build, folder / "template")
    faults = Faults(build, folder, template, short)
    users = [f"user{number}" for number in range(len(KINDS))]
    server = DemoServer(build, folder / "server", users)
    list_of_jobs = []
    for command in homes.commands():
        for kind in KINDS:
            if kind[0] in ("send", "receive") or short and command.name not in SHORT_COMMANDS:
                continue
            list_of_jobs.append((case_name(command, kind), lambda c=command, k=kind: faults.run(c, k)))
    for user, kind in zip(users, KINDS):
        command = enrol_command(server, user)
        list_of_jobs.append((case_name(command, kind), lambda c=command, k=kind: faults.run(c, k)))
    return list_of_jobs, server.end


def enrol_command(server, user):
    def verify(home):
        token = f"Demo {user}"
        ended = home.run(["code", token])
        server.verify(user, ended.out.strip())

    return homes.commands(server.address, user, verify)[-1]
