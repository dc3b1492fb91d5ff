"""The tables of what was tried: case, runs, hits, failures."""

import re
import sys
import threading
from dataclasses import dataclass, field

SHOWN_FAILURES = 4  # kinds of a case; the rest is counted


@dataclass
class Row:
    case: str
    runs: int = 0
    hits: int = 0
    spared: int = 0  # crashes in libraries that end a program by design
    failures: list = field(default_factory=list)  # pairs: what is wrong, and where it came about
    notes: list = field(default_factory=list)

    def fail(self, what, where=""):
        self.failures.append((str(what), where))

    def kinds(self):
        """What is wrong, how often, and the first place; the most frequent first."""
        kinds = {}
        for what, where in self.failures:
            kinds.setdefault(re.sub(r"\d+", "#", what), []).append((what, where))
        lines = []
        for same in sorted(kinds.values(), key=len, reverse=True):
            what, where = same[0]
            lines.append(f"{len(same)} times: {what}" + (f"\n    first {where}" if where else ""))
        return lines


class Table:
    def __init__(self, title):
        self.title = title
        self.rows = []
        self.lock = threading.Lock()

    def add(self, row):
        with self.lock:
            self.rows.append(row)
            mark = f", {len(row.failures)} FAILED" if row.failures else ""
            print(f"  {row.case}: {row.runs} runs{mark}", file=sys.stderr, flush=True)
            for kind in row.kinds()[:SHOWN_FAILURES]:
                print(f"    {kind}", file=sys.stderr, flush=True)

    def failed(self):
        return any(row.failures for row in self.rows)

    def print(self, seconds):
        widest = max([len("case")] + [len(row.case) for row in self.rows])
        spares = any(row.spared for row in self.rows)
        heads = ["runs", "hits"] + (["spared"] if spares else []) + ["failures"]
        print(f"\n== {self.title} ({seconds:.0f} s)\n")
        print("case".ljust(widest), *[head.rjust(9) for head in heads])
        for row in self.rows:
            numbers = [row.runs, row.hits] + ([row.spared] if spares else []) + [len(row.failures)]
            print(row.case.ljust(widest), *[str(number).rjust(9) for number in numbers])
        total = [sum(row.runs for row in self.rows), sum(row.hits for row in self.rows)]
        total += [sum(row.spared for row in self.rows)] if spares else []
        total += [sum(len(row.failures) for row in self.rows)]
        print("all".ljust(widest), *[str(number).rjust(9) for number in total])
        for row in self.rows:
            for note in dict.fromkeys(row.notes):
                print(f"\n{row.case}: {note}")
            kinds = row.kinds()
            for kind in kinds[:SHOWN_FAILURES]:
                print(f"\n{row.case}: FAILED {kind}")
            if len(kinds) > SHOWN_FAILURES:
                print(f"\n{row.case}: and {len(kinds) - SHOWN_FAILURES} more kinds")
        sys.stdout.flush()
