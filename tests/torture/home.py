"""A user of softtoken-cli without a past, and what must be true of the tokens afterwards."""

import base64
import hashlib
import hmac
import json
import os
import re
import shutil
import struct
import subprocess
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# Where the vault lies below a home. Which files there are in it is learnt from a home that is well.
DATA_FOLDER = "data/softtoken"
CHOICE_FOLDER = "config/softtoken"
# Where the keyring daemon keeps its keyrings; it has written a change before it says so.
KEYRINGS = "data/keyrings"

SLOWEST = 10.0  # seconds that a command may take before it counts as hanging


class Build:
    """The built programs."""

    def __init__(self, folder):
        self.folder = Path(folder).resolve()
        self.cli = str(self.folder / "bin/softtoken-cli")
        self.demo_server = str(self.folder / "bin/softtoken-demo-server")
        self.killer = str(self.folder / "bin/softtoken-torture-kill")
        self.faults = str(self.folder / "lib/torture-faults.so")
        self.desktop = str(self.folder / "bin/torture_desktop")


def scratch_folder():
    """A new folder in memory where there is such a place: nothing here tests the disk."""
    memory = "/dev/shm"
    parent = memory if os.access(memory, os.W_OK) else None
    return Path(tempfile.mkdtemp(prefix="softtoken-torture-", dir=parent))


def passcode(seed, period, second):
    """RFC 6238 with HMAC-SHA1 and six digits."""
    key = base64.b32decode(seed)
    digest = hmac.new(key, struct.pack(">Q", second // period), hashlib.sha1).digest()
    at = digest[-1] & 15
    number = struct.unpack(">I", digest[at:at + 4])[0] & 0x7FFFFFFF
    return f"{number % 1000000:06d}"


def check_passcodes_with_oathtool():
    """Our own passcodes are what all is judged by: another program has to agree."""
    for seed, period, second in (("JBSWY3DPEHPK3PXP", 30, 59), ("GEZDGNBVGY3TQOJQ", 60, 1700000000)):
        said = subprocess.run(
            ["oathtool", "--totp", "-b", "-s", f"{period}s", "--now", f"@{second}", "-"],
            input=seed, capture_output=True, text=True, check=True).stdout.strip()
        if said != passcode(seed, period, second):
            raise SystemExit(f"oathtool says {said} for {seed} at {second}")


@dataclass(frozen=True)
class Token:
    name: str
    seed: str = ""  # empty: it is the server's or this computer's, and any passcode will do
    period: int = 30


KNOWN = (Token("Alfa", "JBSWY3DPEHPK3PXP"), Token("Bravo", "GEZDGNBVGY3TQOJQ", 60),
         Token("Charlie", "MFRGGZDFMZTWQ2LK"))
DELTA = Token("Delta", "NBSWY3DPO5XXE3DE")


@dataclass
class Ended:
    code: int  # negative: the signal
    out: str
    err: str
    seconds: float
    hung: bool = False

    def __str__(self):
        what = "hung" if self.hung else f"exit {self.code}"
        return f"{what}, out {self.out!r}, err {self.err!r}"


class Trouble(Exception):
    """What is wrong with the tokens, or with what a program said of them."""


@dataclass
class Home:
    """A home in a folder. Nothing of the user's own is reached from it."""

    build: Build
    folder: Path
    bus: str = ""  # address of the session bus
    environment: dict = field(default_factory=dict)
    seen: dict = field(default_factory=dict)  # what files of this content were found to hold

    def make(self, settings="AllowManual=true\nAllowHTTP=true\n"):
        for name in ("home", "data", "config", "cache", "run"):
            (self.folder / name).mkdir(mode=0o700, parents=True)
        (self.folder / "home/tasofttoken.ini").write_text(settings)
        return self

    def variables(self):
        here = str(self.folder)
        return {
            "HOME": here + "/home",
            "XDG_DATA_HOME": here + "/data",
            "XDG_CONFIG_HOME": here + "/config",
            "XDG_CACHE_HOME": here + "/cache",
            "XDG_RUNTIME_DIR": here + "/run",
            "DBUS_SESSION_BUS_ADDRESS": self.bus or f"unix:path={here}/no-bus",
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={here}/no-bus",
            "LC_ALL": "C.UTF-8",
            "PATH": "/usr/bin:/bin",
            **self.environment,
        }

    def run(self, arguments, given="", before=(), more=None, keychain=None, patience=20.0, **options):
        """Runs softtoken-cli; `before` stands before it on the command line."""
        line = [*before, self.build.cli]
        if keychain:
            line += ["--keychain", keychain]
        line += arguments
        started = time.monotonic()
        child = subprocess.Popen(
            line, env={**self.variables(), **(more or {})}, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder, **options)
        hung = False
        try:
            out, err = child.communicate(given.encode(), timeout=patience)
        except subprocess.TimeoutExpired:
            hung = True
            child.kill()
            out, err = child.communicate()
        return Ended(child.returncode, out.decode(errors="replace"), err.decode(errors="replace"),
                     time.monotonic() - started, hung)

    def add(self, token, keychain=None):
        ended = self.run(["add", "--period", str(token.period), "--", token.name],
                         token.seed + "\n", keychain=keychain)
        if ended.code != 0:
            raise SystemExit(f"cannot add {token.name}: {ended}")

    def files(self):
        """Content by path below the folders that hold what is stored."""
        result = {}
        for top in (DATA_FOLDER, CHOICE_FOLDER, KEYRINGS):
            for path in sorted((self.folder / top).rglob("*")):
                if path.is_file() and not path.is_symlink():
                    result[str(path.relative_to(self.folder))] = path.read_bytes()
        return result

    def shown(self):
        """The tokens as a clean start shows them, each with its right passcode; raises Trouble."""
        digest = hashlib.sha256(repr(sorted(self.files().items())).encode()).digest()
        if digest not in self.seen:
            found = self.look()
            if len(self.seen) > 5000:
                self.seen.clear()
            self.seen[digest] = found
        return self.seen[digest]

    def look(self):
        ended = self.run(["list", "--json"])
        if ended.code != 0:
            raise Trouble(f"the tokens cannot be listed: {ended}")
        try:
            listed = json.loads(ended.out)
            return [(each["name"], self.passcode_of(each["slot"])) for each in listed]
        except (ValueError, KeyError, TypeError) as error:
            raise Trouble(f"the list is no list ({error}): {ended}") from error

    def passcode_of(self, slot):
        ended = self.run(["code", "--json", "--", str(slot)])
        if ended.code != 0:
            raise Trouble(f"slot {slot} has no passcode: {ended}")
        said = json.loads(ended.out)
        return said["passcode"], said["period"], said["valid_from"]

    def check_shown(self, wanted, duplicates=False, in_order=True):
        """Raises Trouble unless exactly these tokens show, with their own passcodes."""
        shown = self.shown()
        by_name = {token.name: token for token in wanted}
        names = [name for name, _ in shown]
        once = list(dict.fromkeys(names)) if duplicates else names
        if (once if in_order else sorted(once)) != (list if in_order else sorted)(by_name):
            raise Trouble(f"shown are {names}, not {list(by_name)}; {self.more_of_list()}")
        for name, (digits, period, since) in shown:
            token = by_name[name]
            if not token.seed:
                continue
            if period != token.period or digits != passcode(token.seed, period, since):
                raise Trouble(f"{name} has another passcode, {digits} from {since} on")

    def more_of_list(self):
        ended = self.run(["list"])
        return f"list says {ended.err!r}"

    def copy_to(self, folder):
        """The same home elsewhere, as it is now."""
        replace_tree(self.folder, folder)
        return Home(self.build, folder, self.bus, dict(self.environment), self.seen)

    def go_back_to(self, template):
        """Puts the stored files back as they are in the other home."""
        for top in ("data", "config", "home"):
            replace_tree(template.folder / top, self.folder / top)


def replace_tree(source, target):
    if target.exists():
        shutil.rmtree(target)
    shutil.copytree(source, target, symlinks=True)


def vault_template(build, folder, tokens=KNOWN):
    """A home whose vault holds the tokens."""
    home = Home(build, folder).make()
    for token in tokens:
        home.add(token, keychain="vault")
    home.check_shown(tokens)
    return home


@dataclass
class Command:
    """A command on a store that holds KNOWN, and what it may leave there."""

    name: str
    arguments: list
    given: str = ""
    after: tuple = KNOWN
    says: str = ""  # a regular expression that standard output holds on success
    compares: bool = False  # standard output on success is what it is without trouble
    verify: object = None  # more to find out after success

    @property
    def changes(self):
        return self.after != KNOWN

    def new_names(self):
        return {token.name for token in self.after} ^ {token.name for token in KNOWN}


def commands(address=None, user="", verify=None):
    renamed = Token("Beta", KNOWN[1].seed, KNOWN[1].period)
    short = Token("Short")
    link = f"otpauth://totp/{DELTA.name}?secret={DELTA.seed}&period=30"
    fixture = ROOT / "tests/platform/images/one.png"
    # The text of the code in the picture: Example:ada with this seed.
    picture = Token("Example:ada", "JBSWY3DPEHPK3PXP")
    some = [
        Command("add", ["add", DELTA.name], DELTA.seed + "\n", KNOWN + (DELTA,),
                r"Delta"),
        Command("add 13", ["add", short.name], "MFRGGZDFMZTWQ\n", KNOWN + (short,),
                r"Short(.|\n)*\b[A-Z2-7]{8}\b"),
        Command("import", ["import"], link + "\n", KNOWN + (DELTA,), r"Delta"),
        Command("import image", ["import", str(fixture)], "", KNOWN + (picture,),
                r"Example:ada"),
        Command("rename", ["rename", "Bravo", renamed.name], "", (KNOWN[0], renamed, KNOWN[2]),
                r"Beta"),
        Command("move down", ["move", "Alfa", "2"], "", (KNOWN[1], KNOWN[2], KNOWN[0]), r"Alfa"),
        Command("move up", ["move", "Charlie", "0"], "", (KNOWN[2], KNOWN[0], KNOWN[1]),
                r"Charlie"),
        Command("delete", ["delete", "--yes", "Alfa"], "", KNOWN[1:], r"Alfa"),
        Command("code", ["code", "Bravo"], says=r"\A[0-9]{6}\n\Z"),
        Command("list", ["list", "--json"], compares=True),
        Command("settings", ["settings", "--json"], compares=True),
    ]
    if address:
        some.append(Command("enrol", ["enrol", address], user + "\n",
                            KNOWN + (Token("Demo " + user),), rf"Demo {user}",
                            verify=verify))
    return some


def unclear(text):
    """What is wrong with the words of a failure; empty: nothing."""
    lines = text.splitlines()
    if not text.endswith("\n") or not lines:
        return "says nothing"
    last = lines[-1]
    if not last.startswith("softtoken-cli: "):
        return "does not say who speaks"
    for word in ("Unexpected", "std::", "bad_alloc", "(null)", "what()", "basic_string"):
        if word in last:
            return f'says "{word}"'
    if len(last.split()) < 4 or any(ord(sign) < 32 for sign in last):
        return "is no sentence"
    return ""


def judge(home, command, ended, clean_output, began, duplicates=False):
    """Raises Trouble when what came of the command, run with trouble from outside, is not right."""
    if ended.hung or ended.seconds > SLOWEST:
        raise Trouble(f"hangs for {ended.seconds:.1f} s")
    if ended.code < 0:
        raise Trouble(f"ended by signal {-ended.code}: {ended.err[-300:]!r}")
    if ended.code not in (0, 1, 4):
        raise Trouble(f"exit {ended.code} is not documented for this: {ended.err!r}")
    if ended.code != 0:
        wrong = unclear(ended.err)
        if wrong:
            raise Trouble(f"the message {wrong}: {ended.err!r}")
        check_either(home, command, duplicates)
        return
    if command.says and not re.search(command.says, ended.out):
        raise Trouble(f"success, but says {ended.out!r}")
    if command.compares and ended.out != clean_output and not ended.err:
        raise Trouble(f"success, but shows something else without a word: {ended.out!r}")
    if command.name == "code":
        token = KNOWN[1]
        right = {passcode(token.seed, token.period, int(at)) for at in (began, time.time())}
        if ended.out.strip() not in right:
            raise Trouble(f"shows the passcode {ended.out.strip()}, not one of {right}")
    try:
        home.check_shown(command.after)
    except Trouble as trouble:
        raise Trouble(f"said success, but {trouble}") from trouble
    if command.verify:
        command.verify(home)


def check_either(home, command, duplicates=False):
    """After a command that did not say success: the tokens of before or of after it."""
    try:
        home.check_shown(KNOWN, duplicates)
    except Trouble as trouble:
        if not command.changes:
            raise
        try:
            home.check_shown(command.after, duplicates)
        except Trouble:
            raise trouble from None
