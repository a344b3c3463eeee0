"""Group B: the power goes, and with it what was not flushed."""

import json
import shutil

from campaign import row
from damage import Mixed, calm, check_finds, checked, sound
from folders import Instance, copy_tree, snapshot
from group_a import garbage
from invariants import kept, told, whole
from power import Recorder, crash_states, replayed
from scene import Scene


def recorded(stage, source, root, program, command):
    """The operations of a command on a fresh copy of a folder."""
    copy_tree(source, root)
    recorder = Recorder(stage.folder, root)
    Scene.succeed(stage.programs.run(program, *command, fault=recorder), f"the recorded {command[0]}")
    operations = recorder.operations()
    again = stage.folder / "again"
    replayed(source, root, operations, again)
    differing = {name for name, _ in snapshot(root).items() ^ snapshot(again).items()}
    shutil.rmtree(again)
    if differing:
        raise RuntimeError(f"the record of {command[0]} lacks operations: {sorted(differing)[:4]}")
    return operations


@row("B1", "All that is not flushed is lost, after each operation of a run", crash=True)
def power_cuts(stage):
    scene = Scene(stage)
    operations = recorded(stage, scene.base, scene.root, "orvik", scene.arguments())
    instance = Instance(scene.root)
    points = stage.points(len(operations), 5)
    for where in crash_states(stage, scene.base, scene.root, operations, points):
        stage.tally.add(where, scene.recovers(instance, scene.before))
    stage.tally.note = f"{len(operations)} operations, three states after each"
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


@row("B2", "A power cut while single files go into a pack, and while a pack is written anew", crash=True)
def power_cuts_in_packing(stage):
    scene = Scene(stage, options=("--no-reports", "--quiet", "--no-pack"))
    loose, half = stage.folder / "loose", stage.folder / "half"
    scene.reset()
    scene.succeed(scene.backup(), "the backup of single files")
    copy_tree(scene.root, loose)
    garbage(scene, half)
    instance = Instance(scene.root)
    for source, program, command in ((loose, "orvik", ["pack", instance.path, "--quiet"]),
                                     (loose, "orvikctl", ["pack", instance.path]),
                                     (half, "orvik", ["gc", instance.path, "--yes", "--quiet"]),
                                     (half, "orvikctl", ["gc", instance.path])):
        operations = recorded(stage, source, scene.root, program, command)
        before = Instance(source).backups()
        for where in crash_states(stage, source, scene.root, operations, stage.points(len(operations), 2, 40)):
            problems = kept(stage.programs, instance, before) + scene.lost(instance)
            end = stage.programs.run("orvik", *command[:2], "--quiet", *(["--yes"] if "gc" in command else []))
            if end.status != 0:
                problems.append(f"the next {command[0]} fails: {end.text()}")
            problems += kept(stage.programs, instance, before) + scene.lost(instance)
            stage.tally.add(f"{program} {command[0]}, {where}", problems)
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


@row("B3", "The newest manifest is missing, empty or cut")
def lost_manifests(stage):
    scene = Scene(stage)
    source = stage.folder / "two"
    scene.reset()
    scene.succeed(scene.backup(), "the second backup")
    copy_tree(scene.root, source)
    instance = Instance(scene.root)
    newest = instance.backups()[-1]
    manifest = instance.backups_path / newest / "manifest.json"
    size = manifest.stat().st_size
    for length in [None, 0, 1, size - 2, *stage.points(size - 2, 4, 60)]:
        scene.reset(source)
        if length is None:
            manifest.unlink()
        else:
            manifest.write_bytes(manifest.read_bytes()[:length])
        problems = []
        if newest in stage.programs.run("orvikctl", "list", instance.path).out:
            problems.append("the backup is listed")
        problems += check_finds(stage.programs, instance, f"{newest}/manifest.json",
                                kinds=("manifestMissing", "manifestUnreadable"))
        end = stage.programs.run("orvik", "gc", instance.path, "--yes", "--quiet")
        problems += calm(end) + (told(end) if end.status else [])
        if length is not None and end.status == 0:
            problems.append("gc goes on though a manifest can't be read")
        end = scene.backup()
        if end.status != 0:
            problems.append(f"the next run fails: {end.text()}")
        elif instance.content(end.out.split()[-1]) != scene.reference:
            problems.append("the next run's backup differs from a clean one")
        for backup in (scene.before[0], (end.out.split() or [newest])[-1]):
            problems += whole(stage.programs, instance, backup)
        stage.tally.planted(f"{'no' if length is None else length} of {size} bytes", problems)


@row("B4", "Single objects that are empty under valid names")
def empty_objects(stage):
    scene = Scene(stage)
    mixed = Mixed(scene)
    healed = 0
    for attempt in range(stage.size(5, 60)):
        instance = mixed.reset()
        singles = sorted((instance.store / "objects").glob("*/*.json"))
        some = stage.random.sample(singles, 1 + attempt % 8)
        for path in some:
            path.write_bytes(b"")
        _, findings = checked(stage.programs, instance)
        empty = {each["path"] for each in findings if each["kind"] == "objectEmpty"}
        repaired = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet") if attempt % 2 else None
        end = scene.backup()
        held = instance.held()
        for path in some:
            problems = [] if str(path.relative_to(instance.path)) in empty else [f"check does not tell {path.name}"]
            if path.stem not in held:
                problems.append(f"{path.name} is not stored again")
            healed += path.stem in held
            stage.tally.planted(f"{path.name}, one of {len(some)}", problems)
        problems = [] if end.status == 0 else [f"the next run fails: {end.text()}"]
        if repaired and repaired.status:
            problems.append(f"the repair ends with {repaired.text()}")
        stage.tally.add("the folder", problems + kept(stage.programs, instance, mixed.backups) +
                        sound(stage.programs, instance))
    stage.tally.worst = f"{stage.tally.damage_found} found, {healed} healed of {stage.tally.damage_planted} planted"


@row("B5", "A write that reports success and stores nothing")
def pretended_writes(stage):
    scene = Scene(stage)
    total = scene.calls("write")
    harmless = 0
    for n in stage.points(total, 16, 120):
        instance = scene.reset()
        fault = stage.fault("write", [scene.root], "lie", at=n)
        end = scene.backup(fault=fault)
        where = f"{n} of {total} ({fault.what.replace(str(scene.root), 'ROOT')})"
        fault.close()
        problems = calm(end, 60)
        if end.status:
            problems += told(end)
        new = [each for each in instance.backups() if each not in scene.before]
        if not new or any(harmed(scene, instance, each) for each in new):
            if end.status == 0 and checked(stage.programs, instance)[0].status != 4:
                problems.append("neither the run nor check says anything")
            stage.tally.planted(where, problems + heals(scene, instance))
        else:
            harmless += 1
            stage.tally.add(where, problems + scene.recovers(instance, scene.before))
    found = stage.tally.damage_found
    stage.tally.worst = f"{found} caught of {stage.tally.damage_planted} that did harm; {harmless} did none"


def harmed(scene, instance, backup):
    """Whether a backup is not what a clean run makes, or its content is not there."""
    try:
        return instance.content(backup) != scene.reference or bool(instance.names(backup) - instance.held())
    except (ValueError, OSError):  # an index is empty, or was never written
        return True


def heals(scene, instance):
    """A repair and the next run make a whole backup."""
    repaired = scene.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
    problems = [] if repaired.status in (0, 4) else [f"the repair ends with {repaired.text()}"]
    end = scene.backup()
    if end.status != 0:
        return problems + [f"the next run fails: {end.text()}"]
    newest = instance.backups()[-1]
    if instance.content(newest) != scene.reference:
        problems.append("the next run's backup differs from a clean one")
    for backup in (scene.before[0], newest):
        problems += whole(scene.programs, instance, backup)
    return problems


@row("B6", "An interrupted run whose journal is kept and whose objects are lost")
def lost_before_resume(stage):
    scene = Scene(stage)
    total = scene.calls("rename")
    for attempt in range(stage.size(9, 150)):
        instance = scene.reset()
        n = stage.random.randint(total // 4, total - 3)
        fault = stage.fault("rename", [scene.root], "kill", at=n)
        scene.backup(fault=fault)
        fault.close()
        singles = sorted((instance.store / "objects").glob("*/*.json"))
        if not singles:
            continue
        lost = stage.random.sample(singles, stage.random.choice([1, len(singles), (len(singles) + 1) // 2]))
        how = ("deleted", "emptied")[attempt % 2]
        for path in lost:
            path.unlink() if how == "deleted" else path.write_bytes(b"")
        journaled = sum(len(path.read_bytes().splitlines()) for path in
                        instance.backups_path.glob("*.partial/journal.jsonl"))
        stage.tally.add(f"killed at rename {n}, {len(lost)} of {len(singles)} objects {how}, {journaled} lines kept",
                        scene.recovers(instance, scene.before))
