"""Group D: repairs, and what they are good for when they are killed."""

import hashlib
import json
from pathlib import Path

from campaign import row
from damage import Mixed, check_finds, flip, sound, verify_says
from folders import snapshot
from group_a import CHANGING, organisation_key
from invariants import kept
from scene import Scene, calls_of


@row("D10", "A damaged package file that the next run would use again")
def damaged_packages(stage):
    scene = Scene(stage)
    mixed = Mixed(scene)
    instance = mixed.reset()
    paths = sorted(instance.store.glob("files/*/*"))
    healed = 0
    for attempt in range(stage.size(4, 60)):
        mixed.reset()
        path = stage.random.choice(paths)
        size = path.stat().st_size
        harm = ("cut", "flipped", "empty")[attempt % 3]
        if harm == "flipped":
            flip(path, stage.random.randrange(size))
        else:
            path.write_bytes(path.read_bytes()[:stage.random.randrange(1, size)] if harm == "cut" else b"")
        end = scene.backup()
        problems = [] if end.status == 0 else [f"the run that uses it again ends with {end.text()}"]
        problems += check_finds(stage.programs, instance, path.name, kinds=("fileDamaged",))
        end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
        if end.status != 0:
            problems.append(f"the repair ends with {end.text()}")
        if path.exists():
            problems.append("the repair leaves it")
        end = scene.backup()
        if end.status != 0:
            problems.append(f"the next run fails: {end.text()}")
        if path.exists() and hashlib.sha256(path.read_bytes()).hexdigest() == path.name:
            healed += 1
        else:
            problems.append("the next run does not fetch it again")
        problems += kept(stage.programs, instance, mixed.backups) + sound(stage.programs, instance)
        stage.tally.planted(f"{path.name} {harm}", problems)
    stage.tally.worst = f"{stage.tally.damage_found} found, {healed} healed of {stage.tally.damage_planted} planted"


def harms(dice, instance):
    """Damage of every kind that a repair has to do with, by name."""
    singles = sorted((instance.store / "objects").glob("*/*.json"))
    files = sorted(instance.store.glob("files/*/*"))
    pack = next((instance.store / "packs").glob("*.pack"))
    index = pack.with_suffix(".idx")

    def spread(paths, do):
        for path in dice.sample(paths, min(3, len(paths))):
            do(path)

    def flips(path):
        flip(path, dice.randrange(path.stat().st_size))

    def half(path):
        path.write_bytes(path.read_bytes()[:path.stat().st_size // 2])

    return {
        "flipped objects": lambda: spread(singles, flips),
        "empty objects": lambda: spread(singles, lambda path: path.write_bytes(b"")),
        "a flipped pack": lambda: [flips(pack) for _ in range(3)],
        "a cut pack": lambda: half(pack),
        "a lost pack": pack.unlink,
        "a lost pack index": index.unlink,
        "half a pack index": lambda: half(index),
        "a lying pack index": lambda: index.write_text(json.dumps(
            {**json.loads(index.read_text()), "objects": {name: [start + 1, length] for name, (start, length) in
                                                          json.loads(index.read_text())["objects"].items()}})),
        "damaged package files": lambda: spread(files, half),
        "a bit of everything": lambda: (spread(singles, flips), flips(pack), spread(files, half)),
    }


def bytes_below(path):
    """How often each content is there, wherever it lies."""
    counts = {}
    for digest in snapshot(path).values():
        counts[digest] = counts.get(digest, 0) + 1
    counts.pop("folder", None)
    return counts


@row("D12", "Kill at every call of a repair that changes the disk", crash=True)
def kill_in_repair(stage):
    scene = Scene(stage)
    key = ["--key", organisation_key(stage.folder)]
    most = 0
    for sealed in (False, True):
        more = key if sealed else []
        mixed = Mixed(scene, *(["--encrypt", *key] if sealed else []), name="sealed" if sealed else "mixed")
        instance = mixed.reset()
        command = ["repair", instance.path, "--yes", "--quiet", *more]
        cases = harms(stage.random, instance)
        if sealed:
            cases["a lost key record"] = (instance.path / "encryption.json").unlink
        for name in stage.random.sample(sorted(cases), 2) if stage.quick else sorted(cases):
            mixed.reset()
            cases[name]()
            damaged = stage.folder / "damaged"
            mixed.keep_as(damaged)
            total = calls_of(stage, command, CHANGING, [scene.root])
            most = max(most, total)
            for n in stage.points(total, 2, 14):
                mixed.reset(damaged)
                fault = stage.fault(CHANGING, [scene.root], "kill", at=n)
                before, held = bytes_below(instance.path), instance.held()
                end = stage.programs.run("orvik", *command, fault=fault)
                where = f"{'sealed, ' if sealed else ''}{name}, {n} of {total} ({Path(fault.what).name})"
                fault.close()
                problems = [] if end.killed else [f"it was not killed: {end.text()}"]
                problems += never_worse(instance, mixed, before, held)
                stage.tally.add(where, problems + mended(stage, mixed, instance, command, more))
    stage.tally.note = f"up to {most} such calls in a repair"
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


def never_worse(instance, mixed, before, held):
    """No content of the folder is gone, what could be read can be read, and every backup is listed."""
    after = bytes_below(instance.path)
    gone = [digest for digest, count in before.items() if after.get(digest, 0) < min(count, 1)]
    problems = [f"the bytes of {len(gone)} files are gone"] if gone else []
    if held - instance.held():
        problems.append(f"{len(held - instance.held())} objects can't be read any more")
    return problems + [f"{each} is gone" for each in mixed.backups if each not in instance.backups()]


def mended(stage, mixed, instance, command, more):
    """A repair to its end and the next run make everything whole."""
    repaired = stage.programs.run("orvik", *command)
    problems = [] if repaired.status == 0 else [f"the next repair ends with {repaired.text()}"]
    end = mixed.scene.backup(None, *more)
    if end.status != 0:
        problems.append(f"the next run fails: {end.text()}")
    for backup in mixed.backups:
        problems += verify_says(stage.programs, instance, backup, [], more)
    return problems + sound(stage.programs, instance, *more)
