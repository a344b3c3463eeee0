"""Readers and keepers of a folder, as an administrator starts them, over a folder that is not as it should be."""

import os

from damage import calm
from invariants import kept

FILES = "packages,packageFiles,distributionPoints,jcdsFiles"
SECTIONS = "buildings,scripts," + FILES


def two_backups(scene, path):
    """A folder of two backups, the first in packs, the second in single files, with package files."""
    instance = scene.reset()
    scene.succeed(scene.backup(None, "--no-pack"), "a backup of single files")
    os.rename(scene.root, path)
    return path


class Keepers:
    """What may be started at any time: it looks, deletes what is garbage, and mends."""

    def __init__(self, scene, key=(), commands=("check", "gc", "repair")):
        self.scene = scene
        self.key = key
        self.commands = commands
        self.ends = {}

    def run(self, instance, fault=None):
        """What is wrong with how they ended. `ends` holds the ends; `fault` makes a fault for each."""
        problems = []
        more = {"check": ["--read-data", "100%"], "gc": ["--yes"], "repair": ["--yes"], "retention": ["--keep", "1", "--yes"],
                "pack": []}
        for name in self.commands:
            broken = fault() if fault else None
            end = self.scene.programs.run("orvik", name, instance.path, *more[name], *self.key, timeout=40, fault=broken)
            if broken:
                broken.close()
            self.ends[name] = end
            problems += [f"{name}: {each}" for each in calm(end, 30)]
            if end.status not in (0, 4) and len(end.sentence) <= 20:
                problems.append(f"{name} does not say why it refuses: {end.text()}")
        return problems

    def names(self, text):
        """Whether the examination told of it."""
        end = self.ends["check"]
        return end.status != 0 and text in end.out + end.err


def needed(instance, backups):
    """Names of all that these backups refer to."""
    return {name for backup in backups for name in instance.names(backup)}


def lasting(scene, instance, before, source):
    """Once the folder is as it should be, everything that its backups refer to is there and whole."""
    problems = kept(scene.programs, instance, before)
    gone = needed(source, before) - instance.held()
    scene.stage.tally.objects_lost += len(gone)
    if gone:
        problems.append(f"{len(gone)} objects are lost, as {min(gone)}")
    return problems
