"""Commands on a keyring daemon, with trouble at every message to it, and killed at random."""

import json
import re
import shutil
import signal
import subprocess
import threading
import time

import bus_proxy
import home as homes
import kills
from report import Row

RANDOM_KILLS = 200
SHORT_RANDOM_KILLS = 6
SHORT_CASES = (("add", "answered with an error"), ("delete", "program killed before"),
               ("delete", "program killed after"), ("delete", "bus gone before"),
               ("list", "cut off before"))
LIMIT = 4.0  # seconds that a keyring that does not answer may cost a command

BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={path}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Session:
    """A session bus and a keyring of nobody's, in a home of its own."""

    def __init__(self, home):
        self.home = home
        self.path = str(home.folder / "run/bus")
        home.bus = "unix:path=" + self.path
        configuration = home.folder / "bus.conf"
        configuration.write_text(BUS.format(path=self.path))
        self.daemon = None
        self.bus = self.start(["dbus-daemon", f"--config-file={configuration}", "--nofork",
                               "--print-address=1"], stdout=subprocess.PIPE)
        self.bus.stdout.readline()
        self.lock = threading.Lock()

    def start(self, command, **options):
        # They end with us, whatever ends us.
        return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "--", *command],
                                env=self.home.variables(), stderr=subprocess.DEVNULL, **options)

    def start_daemon(self):
        self.daemon = self.start(
            ["gnome-keyring-daemon", "--foreground", "--components=secrets", "--unlock",
             f"--control-directory={self.home.folder}/run/keyring"],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.daemon.stdin.write(b"open sesame")
        self.daemon.stdin.close()
        # Whatever the home has chosen.
        other = {"XDG_CONFIG_HOME": str(self.home.folder / "none")}
        for _ in range(400):
            if self.home.run(["list"], keychain="secret-service", more=other).code == 0:
                return
            time.sleep(0.02)
        raise RuntimeError("the keyring daemon does not come up")

    def kill_daemon(self):
        with self.lock:
            if self.daemon:
                self.daemon.kill()
                self.daemon.wait()
                self.daemon = None

    def go_back_to(self, kept):
        """The keyring and what the program remembers, as they were kept."""
        self.kill_daemon()
        for top in ("data", "config"):
            homes.replace_tree(kept / top, self.home.folder / top)
        self.start_daemon()

    def keep(self, kept):
        for top in ("data", "config"):
            homes.replace_tree(self.home.folder / top, kept / top)

    def end(self):
        self.kill_daemon()
        self.bus.kill()
        self.bus.wait()


def keyring_home(build, folder):
    """A session whose keyring holds the tokens, and the folder where it is kept as it is now."""
    home = homes.Home(build, folder).make()
    session = Session(home)
    session.start_daemon()
    for token in homes.KNOWN:
        home.add(token, keychain="secret-service")
    home.check_shown(homes.KNOWN)
    kept = folder / "kept"
    session.keep(kept)
    return session, kept


def is_as_before(home):
    try:
        home.check_shown(homes.KNOWN)
    except homes.Trouble:
        return False
    return True


def check_next_change(home, command):
    """What was broken off shows the tokens of before or after it, some of them twice at worst, and
    the next change clears that away."""
    homes.check_either(home, command, duplicates=True)
    shown = {name for name, _ in home.shown()}
    token = homes.Token("Next", "MFRGGZDFMZTWQ2LK")
    ended = home.run(["add", token.name], token.seed + "\n")
    if ended.code != 0:
        raise homes.Trouble(f"the next add is refused: {ended}")
    names = [name for name, _ in home.shown()]
    if sorted(names) != sorted(shown | {token.name}):
        raise homes.Trouble(f"after the next add there are {names}, before it {sorted(shown)}")


def trouble_at_each_message(build, folder, command, mode, short):
    row = Row(f"{command.name}: {mode}")
    place = folder / re.sub(r"\W+", "-", row.case)
    session, kept = keyring_home(build, place)
    home = session.home
    proxy = bus_proxy.Proxy(str(place / "run/proxy"), session.path, session.kill_daemon)
    clean = home.run(command.arguments, command.given).out if command.compares else ""
    number = 0
    longest = 0.0
    try:
        while True:
            number += 1
            if mode.startswith("keyring") or number == 1 or not is_as_before(home):
                session.go_back_to(kept)
            proxy.arm(mode, number)
            began = time.time()
            ended = home.run(command.arguments, command.given,
                             more={"DBUS_SESSION_BUS_ADDRESS": proxy.address})
            row.runs += 1
            row.hits += proxy.hit
            longest = max(longest, ended.seconds)
            if mode.startswith("keyring"):
                session.kill_daemon()
                session.start_daemon()
            try:
                judge(home, command, mode, ended, clean, began)
            except homes.Trouble as trouble:
                row.fail(trouble, f"message {number}")
            if not proxy.hit:
                break
            if short and number >= 4:
                number += proxy.messages // 8
    finally:
        proxy.close()
        session.end()
        shutil.rmtree(place, ignore_errors=True)
    if mode == "no answer":
        row.notes.append(f"the longest took {longest:.1f} s")
    return row


def judge(home, command, mode, ended, clean, began):
    if mode.startswith("program killed") and ended.code == -signal.SIGKILL:
        check_next_change(home, command)
        return
    if ended.seconds > LIMIT:
        raise homes.Trouble(f"takes {ended.seconds:.1f} s: {ended.err!r}")
    homes.judge(home, command, ended, clean, began, duplicates=True)
    if ended.code != 0:
        check_next_change(home, command)


def at_random(build, folder, short):
    row = Row("any change: killed at random times")
    place = folder / "random"
    session, kept = keyring_home(build, place)
    home = session.home
    some = [command for command in kills.changing_commands() if command.name != "import image"]
    chance = kills.random.Random(20261121)
    try:
        longest = {}
        for command in some:
            session.go_back_to(kept)
            longest[command.name] = kills.usual_seconds(home, command)
        for number in range(SHORT_RANDOM_KILLS if short else RANDOM_KILLS):
            command = some[number % len(some)]
            if number == 0 or not is_as_before(home):
                session.go_back_to(kept)
            wait = chance.uniform(0, 1.2 * longest[command.name])
            killed = kills.run_and_kill(home, command, wait)
            row.runs += 1
            row.hits += killed
            try:
                check_next_change(home, command)
            except homes.Trouble as trouble:
                row.fail(f"{command.name}: {trouble}", f"killed after {wait * 1000:.1f} ms")
    finally:
        session.end()
        shutil.rmtree(place, ignore_errors=True)
    return row


def check_moved(home, source, target):
    """All tokens are in the target, and none in the source."""
    home.check_shown(homes.KNOWN)
    said = json.loads(home.run(["keychain", "--json"]).out)
    if (said["keychain"], said["tokens"], said["leftovers"]) != (target, len(homes.KNOWN), None):
        raise homes.Trouble(f"after the move it says {said}")
    choice = home.folder / homes.CHOICE_FOLDER / "defaults.conf"
    kept = choice.read_bytes()
    choice.unlink()
    left = home.run(["list", "--json"], keychain=source)
    choice.write_bytes(kept)
    if left.code != 0 or json.loads(left.out):
        raise homes.Trouble(f"left in the old keychain: {left}")


def move_killed(build, folder, source, target, short):
    """A move of the tokens is killed at each changing call; the same command again finishes it."""
    row = Row(f"keychain {target}: killed at each changing call")
    place = folder / f"move-to-{target}"
    session, kept = keyring_home(build, place)
    home = session.home
    command = homes.Command("keychain", ["keychain", target])
    killer = kills.Killer(build, True)
    try:
        if source == "vault":
            moved = home.run(["keychain", "vault"])
            if moved.code != 0:
                raise RuntimeError(f"cannot move to the vault: {moved}")
            session.keep(kept)
        number = 0
        killed = True
        while killed:
            number += 1
            session.go_back_to(kept)
            killed, ended, calls = killer.run(home, command, number)
            row.runs += 1
            row.hits += killed
            # What is not on the disk yet does not count.
            session.kill_daemon()
            session.start_daemon()
            try:
                if not killed and ended.code != 3:
                    raise homes.Trouble(f"not killed, but {ended}")
                home.check_shown(homes.KNOWN)
                again = home.run(command.arguments)
                if again.code != 0:
                    raise homes.Trouble(f"the same command again: {again}")
                check_moved(home, source, target)
            except homes.Trouble as trouble:
                row.fail(trouble, f"killed at call {calls}")
            if short:
                number += 15
    finally:
        session.end()
        shutil.rmtree(place, ignore_errors=True)
    return row


def jobs(build, folder, short):
    commands = [command for command in homes.commands()
                if command.name not in ("import image", "add 13", "settings")]
    modes = bus_proxy.MODES
    found = [(f"{command.name}: {mode}",
              lambda c=command, m=mode: trouble_at_each_message(build, folder, c, m, short))
             for command in commands for mode in modes
             if not short or (command.name, mode) in SHORT_CASES]
    found.append(("at random", lambda: at_random(build, folder, short)))
    for source, target in (("vault", "secret-service"), ("secret-service", "vault")):
        found.append((f"keychain {target}: killed",
                      lambda s=source, t=target: move_killed(build, folder, s, t, short)))
    return found, None
