"""Group G, continued: what else may lie in a folder, under names that nobody expects."""

import os
import shutil
import socket
import stat

from campaign import row
from damage import calm
from folders import Instance, snapshot
from group_g import chosen, first, newest
from invariants import kept, same_as, told
from scene import Scene
from tending import SECTIONS, Keepers, lasting, two_backups

FOLDERS = (".", "backups", "store", "store/objects", "store/objects/??", "store/packs", "store/files", "backups/*",
           "backups/*/sections")


def a_socket(path):
    place = os.getcwd()
    os.chdir(path.parent)  # its address must be short
    try:
        with socket.socket(socket.AF_UNIX) as one:
            one.bind(path.name)
    finally:
        os.chdir(place)


def a_full_folder(path):
    path.mkdir()
    (path / "manifest.json").write_text("{}")


STRAYS = {
    "a text": lambda path: path.write_text("notes"),
    "no bytes": lambda path: path.write_bytes(b""),
    "a folder": a_full_folder,
    "a pipe": os.mkfifo,
    "a socket": a_socket,
    "a device": lambda path: os.mknod(path, 0o600 | stat.S_IFCHR, os.makedev(1, 5)),
    "a closed file": lambda path: (path.write_text("x"), path.chmod(0)),
}
# Names as systems and people leave them, and those of our own files in places where they don't belong.
STRAY_NAMES = ("Thumbs.db", "Icon\r", "desktop.ini", "notes.txt", "manifest.json", "x.json", "x.idx", "x.pack",
               "2026-01-02T030405Z", "2026-01-02T030405Z.partial", "backup.lock", "ab", "con")


def replaced(path, make):
    """Something else stands where a file should be."""
    shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()
    make(path)


def readers(stage, instance):
    problems = []
    for program, *words in (("orvikctl", "list"), ("orvikctl", "verify"), ("orvik", "sections"),
                            ("orvik", "search", "a")):
        end = stage.programs.run(program, words[0], instance.path, *words[1:], timeout=20)
        problems += [f"{words[0]}: {each}" for each in calm(end, 20)]
    return problems


def remove(path):
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


def with_stray(stage, scene, source, folder, name, kind):
    instance = scene.reset(source)
    before = instance.backups()
    path = sorted(instance.path.glob(folder))[0] / name if folder != "." else instance.path / name
    if path.exists():
        path = path.with_name("stray-" + name)
    STRAYS[kind](path)
    problems = readers(stage, instance)
    problems += Keepers(scene, commands=("check", "gc", "repair", "pack")).run(instance)
    hung = any("it took" in each for each in problems)
    next_end = scene.backup(None, "--new-folder", timeout=60)
    problems += calm(next_end, 60)
    if next_end.status != 0 and len(next_end.sentence) < 20:
        problems.append(f"a run says nothing: {next_end.text()}")
    remove(path)
    problems += lasting(scene, instance, before, Instance(source)) + scene.recovers(instance, before)
    stage.tally.add(f"{kind} as {name!r} in {folder}", problems)
    return hung


def restore(original, path):
    """What was there is there again, in a folder beside what came meanwhile."""
    if original.is_dir():
        if not path.is_dir():
            remove(path)
        remove(path / "manifest.json")  # of the folder that stood in its place
        shutil.copytree(original, path, dirs_exist_ok=True)
    else:
        remove(path)
        path.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(original, path)


def instead(stage, scene, source, part, kind):
    instance = scene.reset(source)
    before = instance.backups()
    path = PLACES[part](instance)
    replaced(path, STRAYS[kind])
    problems = readers(stage, instance)
    keepers = Keepers(scene, commands=("check", "gc", "repair", "pack"))
    problems += keepers.run(instance)
    hung = any("it took" in each for each in problems)
    problems += calm(scene.backup(None, timeout=60), 60)
    restore(source / path.relative_to(scene.root), path)
    end = stage.programs.run("orvik", "repair", instance.path, "--yes", "--quiet")
    if end.status != 0:
        problems.append(f"repair afterwards: {end.text()}")
    problems += lasting(scene, instance, before, Instance(source)) + scene.recovers(instance, before)
    stage.tally.add(f"{kind} in place of the {part}", problems)
    return hung


PLACES = {
    "instance": lambda instance: instance.path / "instance.json",
    "manifest": lambda instance: newest(instance) / "manifest.json",
    "index": lambda instance: newest(instance) / "sections" / "scripts.json",
    "index folder": lambda instance: newest(instance) / "sections",
    "pack": lambda instance: first(instance.store, "packs/*.pack"),
    "pack index": lambda instance: first(instance.store, "packs/*.idx"),
    "object": lambda instance: first(instance.store, "objects/*/*.json"),
    "folder of objects": lambda instance: first(instance.store, "objects/*"),
    "package file": lambda instance: first(instance.store, "files/*/*"),
    "packs": lambda instance: instance.store / "packs",
    "downloads": lambda instance: instance.store / "downloads",
    "backup": newest,
}


@row("G5", "Stray files, folders, pipes, sockets, devices and closed files, beside and in place of ours")
def strays(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    hangs = 0
    tries = [(folder, STRAY_NAMES[(number + shift) % len(STRAY_NAMES)], kind)
             for number, folder in enumerate(FOLDERS) for shift, kind in enumerate(STRAYS)]
    for each in chosen(stage, tries, 4):
        hangs += with_stray(stage, scene, source, *each)
    tries = [(part, kind) for part in PLACES for kind in STRAYS if kind != "a closed file"]
    for each in chosen(stage, tries, 4):
        hangs += instead(stage, scene, source, *each)
    stage.tally.worst = f"{hangs} hangs"


TARGETS = ("its own content, outside", "a folder outside", "a file outside", "itself", "nothing", "the folder above")
LINKED = (*PLACES, "backups", "store", "store/objects", "store/files")


def fill(outside):
    """What a link may lead to, and a collection would take for garbage."""
    remove(outside)
    outside.mkdir()
    (outside / "file").write_text("untouched")
    for name in ("ab" + "0" * 62, "ab/ab" + "0" * 62 + ".json", "ab.partial/journal.jsonl", ".old.tmp", "old.part"):
        path = outside / "folder" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("untouched")
        os.utime(path, (0, 0))


def linked(stage, scene, source, part, target, outside):
    """A link stands where a part of the folder should be."""
    instance = scene.reset(source)
    before = instance.backups()
    path = PLACES[part](instance) if part in PLACES else instance.path / part
    fill(outside)
    away = outside / "moved"
    if target == "its own content, outside":
        os.rename(path, away)
        path.symlink_to(away)
    else:
        remove(path)
        path.symlink_to({"a file outside": outside / "file", "a folder outside": outside / "folder",
                         "itself": path.name, "nothing": outside / "nothing", "the folder above": ".."}[target])
    seen = snapshot(outside)
    problems = readers(stage, instance)
    keepers = Keepers(scene, commands=("check", "gc", "repair", "pack", "retention"))
    problems += keepers.run(instance)
    end = scene.backup(None, timeout=60)
    problems += calm(end, 60) + (told(end) if end.status != 0 else [])
    touched = same_as(seen, outside)
    problems += [f"outside, {each}" for each in touched]
    if away.exists():
        problems += kept(stage.programs, instance, before[-1:])
    stage.tally.add(f"the {part} is a link to {target}", problems)
    return len(touched)


@row("G6", "Links in place of our files and folders: to the outside, to nothing, in circles")
def links(stage):
    scene = Scene(stage, SECTIONS)
    source = two_backups(scene, stage.folder / "two")
    outside = stage.fresh("outside")
    touched = 0
    tries = [(part, target) for part in LINKED for target in TARGETS]
    for part, target in chosen(stage, tries, 8):
        touched += linked(stage, scene, source, part, target, outside)
    stage.tally.worst = f"{touched} files touched outside"
