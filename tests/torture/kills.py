"""Every changing command is killed: at each of its system calls, and at random times."""

import os
import random
import re
import signal
import subprocess
import time
from pathlib import Path

import home as homes
from report import Row

RANDOM_KILLS = 1000
SHORT_RANDOM_KILLS = 60


class Killer:
    """Runs a command in a home and kills it at its n-th system call."""

    def __init__(self, build, only_changing):
        self.start = [build.killer] + (["--changing"] if only_changing else [])

    def run(self, home, command, number):
        """Whether it was killed, how it ended, and how many calls there were."""
        readable, writable = os.pipe()
        try:
            ended = home.run(command.arguments, command.given, pass_fds=[writable],
                             before=[*self.start, str(writable), str(number)])
        finally:
            os.close(writable)
            with os.fdopen(readable) as pipe:
                said = pipe.read().split()
        if len(said) != 2 or ended.code not in (0, 3, 4):
            raise RuntimeError(f"the killer does not work: {ended}")
        return ended.code == 0, ended, int(said[0])


def changing_commands():
    return [command for command in homes.commands() if command.changes]


def check_after_kill(home, command, usual_files, duplicates=False):
    """The tokens of before or of after, at once; and all is well after the next change."""
    homes.check_either(home, command, duplicates)
    shown = [name for name, _ in home.shown()]
    token = homes.Token("Next", "MFRGGZDFMZTWQ2LK")
    ended = home.run(["add", token.name], token.seed + "\n")
    if ended.code != 0:
        raise homes.Trouble(f"the next add is refused: {ended}")
    shown_next = [name for name, _ in home.shown()]
    if sorted(set(shown_next)) != sorted({*shown, token.name}):
        raise homes.Trouble(f"after the next add there are {shown_next}, before it {shown}")
    check_nothing_left(home, usual_files)


def check_nothing_left(home, usual_files):
    left = sorted(re.sub(r"\.\w{6}$", ".XXXXXX", path) for path in home.files()
                  if path not in usual_files)
    if left:
        raise homes.Trouble(f"left behind after the next change: {left}")


def at_each_call(build, folder, template, command, short):
    row = Row(f"{command.name}: killed at each " + ("changing call" if short else "system call"))
    start = template.copy_to(folder / f"start-{command.name}")
    home = template.copy_to(folder / f"killed-{command.name}")
    usual = set(template.files())
    killer = Killer(build, short)
    number = 0
    killed = True
    while killed:
        number += 1
        home.go_back_to(start)
        killed, ended, calls = killer.run(home, command, number)
        row.runs += 1
        row.hits += killed
        try:
            if not killed and ended.code != 3:
                raise homes.Trouble(f"not killed, but {ended}")
            check_after_kill(home, command, usual)
        except homes.Trouble as trouble:
            row.fail(trouble, f"killed at call {calls}")
    return row


def usual_seconds(home, command):
    started = time.monotonic()
    home.run(command.arguments, command.given)
    return time.monotonic() - started


def at_random(folder, template, short, count=None, duplicates=False):
    """Kills after random times; what one leaves is what the next begins with, as far as it can."""
    count = count or (SHORT_RANDOM_KILLS if short else RANDOM_KILLS)
    row = Row("any change: killed at random times")
    start = template.copy_to(folder / "start-random")
    home = template.copy_to(folder / "random")
    usual = set(template.files())
    chance = random.Random(20261121)
    some = changing_commands()
    longest = {}
    for command in some:
        home.go_back_to(start)
        longest[command.name] = max(usual_seconds(home, command), 0.005)
    for number in range(count):
        command = some[number % len(some)]
        home.go_back_to(start)
        wait = chance.uniform(0, 1.2 * longest[command.name])
        killed = run_and_kill(home, command, wait)
        row.runs += 1
        row.hits += killed
        try:
            check_after_kill(home, command, usual, duplicates)
        except homes.Trouble as trouble:
            row.fail(f"{command.name}: {trouble}", f"killed after {wait * 1000:.1f} ms")
    return row


def run_and_kill(home, command, seconds):
    child = subprocess.Popen([home.build.cli, *command.arguments], env=home.variables(),
                             stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL, cwd=home.folder)
    try:
        child.stdin.write(command.given.encode())
        child.stdin.close()
    except BrokenPipeError:
        pass
    time.sleep(seconds)
    child.kill()
    return child.wait() == -signal.SIGKILL


def jobs(build, folder, short):
    template = homes.vault_template(build, folder / "template")
    found = [(f"{command.name}: killed",
              lambda c=command: at_each_call(build, folder, template, c, short))
             for command in changing_commands()]
    found.append(("at random", lambda: at_random(folder, template, short)))
    found.append(("first start", lambda: first_start(build, folder, short)))
    return found, None


def first_start(build, folder, short):
    """The first token of a user is killed at each system call; the next one is stored."""
    command = homes.Command("first add", ["--keychain", "vault", "add", homes.DELTA.name],
                            homes.DELTA.seed + "\n")
    row = Row("first add: killed at each " + ("changing call" if short else "system call"))
    whole = homes.Home(build, folder / "first-whole").make()
    whole.add(homes.DELTA, keychain="vault")
    usual = set(whole.files())
    killer = Killer(build, short)
    number = 0
    killed = True
    while killed:
        number += 1
        place = Path(folder / f"first-{number}")
        home = homes.Home(build, place).make()
        killed, _, calls = killer.run(home, command, number)
        row.runs += 1
        row.hits += killed
        try:
            names = [name for name, _ in home.shown()]
            if names not in ([], [homes.DELTA.name]):
                raise homes.Trouble(f"shown are {names}")
            other = homes.KNOWN[0]
            ended = home.run(["add", other.name], other.seed + "\n", keychain="vault")
            if ended.code != 0:
                raise homes.Trouble(f"the next add is refused: {ended}")
            wanted = ([homes.DELTA] if names else []) + [other]
            home.check_shown(wanted)
            check_nothing_left(home, usual)
        except homes.Trouble as trouble:
            row.fail(trouble, f"killed at call {calls}")
        homes.shutil.rmtree(place)
    return row
