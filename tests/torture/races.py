"""Users whose first start is many starts at once."""

import json
import subprocess

import home as homes
from report import Row

ROUNDS = 2000
SHORT_ROUNDS = 25
PROCESSES = 16
READERS = 4  # of them; the others add a token each

SEED = "NBSWY3DPO5XXE3DE"


def start(home, arguments, given):
    child = subprocess.Popen(
        [home.build.cli, "--keychain", "vault", *arguments], env=home.variables(),
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=home.folder)
    # What is given fits into the pipe: the process finds it whenever it looks.
    child.stdin.write(given.encode())
    child.stdin.close()
    child.stdin = None
    return child


def one_round(home):
    """Raises Trouble when one of the processes is refused, or a token is not there afterwards."""
    adders = PROCESSES - READERS
    children = []
    for number in range(PROCESSES):
        # The readers among the others, not before them.
        reads = number % (PROCESSES // READERS) == 1
        name = f"Token {number}"
        children.append((name, reads, start(home, ["list", "--json"] if reads else ["add", name],
                                            "" if reads else SEED + "\n")))
    refused = []
    for name, reads, child in children:
        out, err = child.communicate(timeout=60)
        if child.returncode != 0:
            refused.append(f"{'list' if reads else 'add'}: exit {child.returncode}: {err.decode()!r}")
        elif reads and not isinstance(json.loads(out), list):
            refused.append(f"list: {out!r}")
    if refused:
        raise homes.Trouble(f"{len(refused)} of {PROCESSES} were refused: {refused[0]}")
    home.check_shown([homes.Token(name, SEED) for name, reads, _ in children if not reads],
                     in_order=False)
    if len(home.shown()) != adders:
        raise homes.Trouble(f"{len(home.shown())} tokens of {adders}")


def race(build, folder, part, rounds):
    row = Row(f"{PROCESSES} processes, {rounds} rounds, part {part}")
    for number in range(rounds):
        home = homes.Home(build, folder / f"race-{part}-{number}").make()
        row.runs += 1
        row.hits += PROCESSES
        try:
            one_round(home)
        except homes.Trouble as trouble:
            row.fail(trouble, f"round {number}")
        homes.shutil.rmtree(home.folder)
    return row


def jobs(build, folder, short):
    rounds = SHORT_ROUNDS if short else ROUNDS
    # One after another: the processes of a round are to have the computer to themselves.
    return [("first starts", lambda: race(build, folder, 1, rounds))], None
