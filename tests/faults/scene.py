"""A server with other objects than when the folder's first backup was made, and what a clean run makes of it."""

import shutil

from fleet import SECTIONS, Server
from folders import Instance, copy_tree
from invariants import kept, no_leftovers, no_secret
from programs import WARNINGS


def calls_of(stage, command, kinds, below, **options):
    """How many calls of these kinds an undisturbed command makes on files below these folders."""
    fault = stage.fault(kinds, below, **options)
    end = stage.programs.run("orvik", *command, fault=fault)
    count = fault.count
    fault.close()
    if end.status != 0 or count == 0:
        raise RuntimeError(f"the run to count calls fails: {count} calls, {end.text()}")
    return count


class Scene:
    """`base` has one backup of the objects of seed 1, packed; the server then shows those of seed 2."""

    def __init__(self, stage, sections=SECTIONS, options=("--no-reports", "--quiet"), server=None):
        self.stage = stage
        self.programs = stage.programs
        self.options = ["--only", sections, *options]
        self.server = server or stage.keep(Server(self.programs, seed=1))
        self.base = stage.folder / "base"
        self.root = stage.folder / "root"
        self.succeed(self.backup(self.base), "the first backup")
        self.before = Instance(self.base).backups()
        self.server.change_to(2)
        clean = self.reset()
        self.succeed(self.backup(), "a clean second backup")
        self.reference = clean.content(clean.backups()[-1])
        if len(self.reference) < 20 or self.reference == Instance(self.base).content(self.before[-1]):
            raise RuntimeError("the clean backup is none to compare with")
        stage.keep(self)

    @staticmethod
    def succeed(end, what):
        if end.status != 0:
            raise RuntimeError(f"{what} fails: {end.text()}")

    def arguments(self, root=None, *more):
        return ["backup", "--to", root or self.root, *self.server.options(), *self.options, *more]

    def backup(self, root=None, *more, **options):
        return self.programs.run("orvik", *self.arguments(root, *more), **options)

    def reset(self, source=None):
        copy_tree(source or self.base, self.root)
        return Instance(self.root)

    def calls(self, kinds, *more, **options):
        """How many calls of these kinds an undisturbed backup makes."""
        self.reset()
        return calls_of(self.stage, self.arguments(None, *more), kinds, [self.root], **options)

    def recovers(self, instance, before, *more):
        """What is visible is whole, and the next plain run makes a whole backup that equals the clean one."""
        problems = kept(self.programs, instance, before)
        end = self.backup(None, *more)
        # What an interrupted run could not read stays a warning of the backup that it becomes.
        if end.status == WARNINGS:
            end = self.backup(None, *more)
        if end.status != 0:
            return problems + [f"the next run fails: {end.text()}"]
        newest = instance.backups()[-1]
        if instance.content(newest) != self.reference:
            problems.append(f"the next run's {newest} differs from a clean backup")
        problems += kept(self.programs, instance, before)
        return problems + self.swept(instance) + self.lost(instance)

    def swept(self, instance):
        """What is left over goes at the latest with a collection two days later."""
        if not instance.leftovers():
            return []
        instance.age()
        end = self.programs.run("orvik", "gc", instance.path, "--yes", "--quiet")
        problems = [] if end.status == 0 else [f"the collection fails: {end.text()}"]
        return problems + no_leftovers(instance)

    def lost(self, instance):
        """Objects of visible backups whose content is nowhere."""
        held = instance.held()
        gone = {name for backup in instance.backups() for name in instance.names(backup)} - held
        self.stage.tally.objects_lost += len(gone)
        return [f"{len(gone)} objects are lost, as {min(gone)}: {instance.where(min(gone)) or 'nowhere'}"] if gone else []

    def close(self):
        """The last look of a row: no secret in what is left, and nothing in the temporary folder but the server's."""
        return no_secret(self.programs, self.stage.folder, self.programs.home)

    def empty(self, name="fresh"):
        """A root without a backup."""
        path = self.stage.folder / name
        shutil.rmtree(path, ignore_errors=True)
        return path
