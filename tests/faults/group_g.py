"""Group G: the folder lies in a synchronised place, where files are copied, renamed, emptied, or come one by one."""

import errno
import os
import shutil

from campaign import row
from damage import calm
from folders import Instance, snapshot
from group_a import organisation_key
from invariants import same_as, whole
from scene import Scene
from tending import SECTIONS, Keepers, lasting, two_backups

# How services name the second version of a file that two machines changed.
CONFLICTS = ("{stem} (1){suffix}", "{stem} 2{suffix}", "{stem} (conflicted copy 2026-01-02 030405){suffix}",
             "{stem}-DESKTOP-ÄÖ{suffix}", "{stem}.sync-conflict-20260102-030405-ABCDEFG{suffix}")


def conflict_name(path, pattern):
    suffix = "" if path.is_dir() and not path.name.endswith(".partial") else path.suffix
    return path.with_name(pattern.format(stem=path.name.removesuffix(suffix), suffix=suffix))


def newest(instance):
    return instance.backups_path / instance.backups()[-1]


def first(folder, pattern):
    return sorted(folder.glob(pattern))[0]


# What services may copy; each is found in the folder, and in the newest backup where there is one for each backup.
PARTS = {
    "instance": lambda instance: instance.path / "instance.json",
    "manifest": lambda instance: newest(instance) / "manifest.json",
    "index": lambda instance: newest(instance) / "sections" / "scripts.json",
    "pack index": lambda instance: first(instance.store, "packs/*.idx"),
    "pack": lambda instance: first(instance.store, "packs/*.pack"),
    "object": lambda instance: first(instance.store, "objects/*/*.json"),
    "package file": lambda instance: first(instance.store, "files/*/*"),
    "backup folder": newest,
    "index folder": lambda instance: newest(instance) / "sections",
    "store": lambda instance: instance.store,
}

STORED = ("pack index", "pack", "object", "package file")  # a second one of these is garbage


def duplicate(path, to):
    if path.is_dir():
        shutil.copytree(path, to, symlinks=True)
    else:
        shutil.copy2(path, to)


def copied(stage, scene, source, part, pattern):
    """A second version stands beside the first."""
    instance = scene.reset(source)
    before = instance.backups()
    path = PARTS[part](instance)
    copy = conflict_name(path, pattern)
    duplicate(path, copy)
    keepers = Keepers(scene, commands=("check", "gc", "repair", "retention"))
    problems = keepers.run(instance)
    if part == "backup folder":
        if copy.name not in keepers.ends["check"].out:
            problems.append("nobody tells of the copy")
        if not copy.exists():
            problems.append("the copy is gone")
        shutil.rmtree(copy, ignore_errors=True)
    elif not copy.exists() and part not in STORED:
        problems.append("the copy is gone")
    stays = before[-1:]  # the retention was asked to keep one
    problems += lasting(scene, instance, stays, Instance(source)) + scene.recovers(instance, stays)
    stage.tally.add(f"{copy.name}, beside the {part}", problems)


def put_back(instance, odd, path):
    """What is wrong with giving a file or folder its own name again, wherever it was moved."""
    places = [odd, *instance.path.glob(f".quarantine/*/{odd.relative_to(instance.path)}")]
    there = [each for each in places if each.exists()]
    if not there:
        return [f"{odd.name} is gone"]
    if path.is_dir():
        shutil.copytree(there[0], path, dirs_exist_ok=True)
        shutil.rmtree(there[0])
    else:
        os.rename(there[0], path)
    return []


def misnamed(stage, scene, source, part, pattern):
    """The first version has the second's name for some days, until somebody gives it back its own."""
    instance = scene.reset(source)
    before = instance.backups()
    path = PARTS[part](instance)
    odd = conflict_name(path, pattern)
    os.rename(path, odd)
    for each in [odd, *odd.rglob("*")]:
        old = each.lstat().st_mtime - 3 * 86400
        os.utime(each, (old, old))
    keepers = Keepers(scene)
    problems = keepers.run(instance) + put_back(instance, odd, path)
    end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
    if end.status != 0:
        problems.append(f"repair afterwards: {end.text()}")
    problems += lasting(scene, instance, before, Instance(source)) + scene.recovers(instance, before)
    stage.tally.add(f"{odd.name} in place of the {part}", problems)


@row("G1", "Conflict copies beside or in place of manifests, indexes, packs, objects and whole backups")
def conflict_copies(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    tries = [(how, part, pattern) for part in PARTS for pattern in CONFLICTS for how in (copied, misnamed)]
    for how, part, pattern in chosen(stage, tries, 10):
        how(stage, scene, source, part, pattern)


def chosen(stage, tries, quick, full=None):
    """All of them, or so many at random: neighbours differ in one thing only."""
    return stage.random.sample(tries, min(len(tries), stage.size(quick, full or len(tries))))


def stubbed(path):
    """The content is elsewhere; a hidden file with a few bytes says where."""
    path.with_name(f".{path.name}.icloud").write_bytes(b"bplist00\xd1\x01\x02")
    path.unlink()


def emptied(path):
    os.truncate(path, 0)


PLACEHOLDERS = {"a stub": stubbed, "no bytes": emptied, "EIO": errno.EIO, "EDEADLK": errno.EDEADLK,
                "ETIMEDOUT": errno.ETIMEDOUT}
FILES_OF_A_FOLDER = ("instance", "manifest", "index", "pack index", "pack", "object", "package file")


def pretended(stage, scene, source, part, kind, key=()):
    """A file whose content is not on this machine now: found, and nothing is deleted for it."""
    instance = scene.reset(source)
    before = instance.backups()
    path = instance.path / "encryption.json" if part == "key record" else PARTS[part](instance)
    way, fault, keepers = PLACEHOLDERS[kind], None, Keepers(scene, key)
    if callable(way):
        way(path)
    else:
        def fault():
            return stage.fault("open,read", [scene.root], f"error:{way}", at=1, until=0, pattern=path.name)
    problems = keepers.run(instance, fault)
    if not keepers.names(path.stem):
        problems.append(f"the examination does not tell: {keepers.ends['check'].text()}")
    shutil.copy2(source / path.relative_to(scene.root), path)
    path.with_name(f".{path.name}.icloud").unlink(missing_ok=True)
    end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet", *key)
    if end.status != 0:
        problems.append(f"repair afterwards: {end.text()}")
    if key:
        for backup in before:
            problems += whole(stage.programs, instance, backup, key)
    else:
        problems += lasting(scene, instance, before, Instance(source)) + scene.recovers(instance, before)
    stage.tally.planted(f"{kind} in place of the {part} ({path.name[:20]})", problems)


@row("G2", "Placeholders: a stub, no bytes, or an error in place of a file")
def stubs(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    tries = [(part, kind) for part in FILES_OF_A_FOLDER for kind in PLACEHOLDERS]
    for part, kind in chosen(stage, tries, 6):
        pretended(stage, scene, source, part, kind)
    key = ["--key", organisation_key(stage.folder)]
    scene.reset()
    scene.succeed(scene.backup(None, "--encrypt", *key), "a sealed backup")
    sealed = stage.folder / "sealed"
    os.rename(scene.root, sealed)
    tries = [(part, kind) for part in ("key record", "index", "pack") for kind in PLACEHOLDERS]
    for part, kind in chosen(stage, tries, 3):
        pretended(stage, scene, sealed, part, kind, key)
    stage.tally.worst = f"{stage.tally.objects_lost} objects lost"


def arrive(stage, source, to):
    """Some of the files have come, in any order, the last of them by half. Gives the files that are to come."""
    files = [each.relative_to(source) for each in sorted(source.rglob("*")) if each.is_file()]
    stage.random.shuffle(files)
    count = stage.random.randint(1, len(files) - 1)
    shutil.rmtree(to, ignore_errors=True)
    for each in files[:count]:
        (to / each).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source / each, to / each)
    last = to / files[count - 1]
    if stage.random.random() < 0.5:
        os.truncate(last, last.stat().st_size // 2)
        count -= 1
    return files[count:]


@row("G3", "A replica gets the files of a folder in random order")
def replica(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    instance, pristine = Instance(scene.root), Instance(source)
    deleted = 0
    for attempt in range(stage.size(10, 200)):
        missing = arrive(stage, source, scene.root)
        instance.path.mkdir(exist_ok=True)
        before = snapshot(scene.root)
        problems = Keepers(scene, commands=("check", "gc")).run(instance)
        for words in (["list", instance.path], ["verify", instance.path]):
            problems += calm(stage.programs.run("orvikctl", *words))
        changed = same_as(before, scene.root)
        deleted += len(changed)
        problems += changed
        for each in missing:
            (scene.root / each).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source / each, scene.root / each)
        problems += lasting(scene, instance, pristine.backups(), pristine)
        stage.tally.add(f"attempt {attempt}, {len(missing)} files to come", problems)
    stage.tally.worst = f"{deleted} files deleted or changed"
