"""Rows of the campaign, how they are counted and where they work."""

import random
import shutil
import time
from dataclasses import dataclass, field
from pathlib import Path

from injection import Fault, NotRun  # noqa: F401 (rows take it from here)

GROUPS = {
    "A": "Crash of the process",
    "B": "Power loss",
    "C": "Storage errors",
    "D": "Damage at rest",
    "E": "Locks and concurrency",
    "F": "Clocks",
    "G": "Synchronised folders and odd names",
    "H": "The server",
    "I": "Downloads",
    "J": "Tool server",
    "K": "Keys, secrets, documents",
}


@dataclass
class Row:
    id: str
    fault: str
    function: object
    crash: bool  # each try is a crash point
    known: str  # why it may fall short, empty when it may not

    @property
    def group(self):
        return self.id[0]


ROWS = []


def row(id, fault, crash=False, known=""):
    """Registers a function of a stage as a row."""

    def register(function):
        ROWS.append(Row(id, fault, function, crash, known))
        return function

    return register


@dataclass
class Tally:
    """What a row counts. A try survives when nobody found a problem with it."""

    tried: int = 0
    survived: int = 0
    worst: str = ""
    note: str = ""
    failures: list = field(default_factory=list)
    damage_planted: int = 0
    damage_found: int = 0
    objects_lost: int = 0

    def add(self, where, problems):
        self.tried += 1
        if not problems:
            self.survived += 1
        elif len(self.failures) < 8:
            self.failures.append(f"{where}: {'; '.join(problems[:4])}")

    def planted(self, where, problems):
        """A try that planted one damage, which was found when there is no problem."""
        self.damage_planted += 1
        self.damage_found += not problems
        self.add(where, problems)


class Stage:
    """Where one row works: its own folder, its own dice, the programs, and how much is asked of it."""

    def __init__(self, folder, programs, seed, quick, row):
        self.folder = Path(folder)
        self.programs = programs
        self.seed = seed
        self.quick = quick
        self.random = random.Random(f"{seed}/{row}")
        self.tally = Tally()
        self.started = time.monotonic()
        self.closers = []

    def size(self, quick, full):
        return quick if self.quick else full

    def points(self, total, quick, full=None):
        """Numbers from 1 to `total`: all of them, or so many of them spread evenly from a place that the seed chooses."""
        wanted = quick if self.quick else full or total
        if wanted >= total:
            return list(range(1, total + 1))
        step = total / wanted
        offset = self.random.random() * step
        return sorted({min(total, int(offset + i * step) + 1) for i in range(wanted)})

    def some(self, things, quick):
        """All of a list, or so many of it."""
        return [things[n - 1] for n in self.points(len(things), quick, len(things))]

    def fault(self, calls, below=(), do="", **more):
        """A fault for one program; it counts calls when it does nothing."""
        return Fault(self.folder, calls, below, do, **more)

    def keep(self, thing):
        """Closes it at the end of the row, whatever happens."""
        self.closers.append(thing)
        return thing

    def close(self):
        problems = []
        for thing in reversed(self.closers):
            problems += thing.close() or []
        return problems

    def fresh(self, name):
        """An empty folder of that name."""
        path = self.folder / name
        shutil.rmtree(path, ignore_errors=True)
        path.mkdir(parents=True)
        return path
