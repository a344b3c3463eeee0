"""Damage to a folder at rest, and what its readers have to say of it."""

import contextlib
import hashlib
import json
import shutil

from folders import Instance, copy_tree

OBJECTS = "scripts,packages"
FILES = "packageFiles,distributionPoints,jcdsFiles"


def flip(path, at, bit=0):
    """Turns one bit over; the same again turns it back."""
    with open(path, "r+b") as file:
        file.seek(at)
        byte = file.read(1)[0]
        file.seek(at)
        file.write(bytes([byte ^ (1 << bit)]))


@contextlib.contextmanager
def restored(path):
    """Puts a file back as it was, whatever became of it."""
    data = path.read_bytes()
    try:
        yield data
    finally:
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        path.unlink(missing_ok=True)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


class Mixed:
    """A folder with two backups of what the server has now: some objects in a pack, others single, and package files."""

    def __init__(self, scene, *more, name="mixed"):
        self.scene = scene
        self.root = scene.root
        self.source = scene.stage.folder / name
        options = scene.options
        scene.options = ["--only", OBJECTS, *options[2:]]
        scene.succeed(scene.backup(self.source, *more), "a backup into a pack")
        scene.options = ["--only", f"{OBJECTS},buildings,categories,{FILES}", *options[2:]]
        scene.succeed(scene.backup(self.source, "--no-pack", *more), "a backup of single files")
        instance = self.reset()
        self.backups = instance.backups()
        self.newest = self.backups[-1]

    def reset(self, source=None):
        copy_tree(source or self.source, self.root)
        return Instance(self.root)

    def keep_as(self, path):
        """Keeps the folder as it is now, to go back to it."""
        copy_tree(self.root, path)


def stored(instance, name):
    """The bytes that a reader finds under an object's name: single first, then in a pack; None for a missing one."""
    single = instance.store / "objects" / name[:2] / f"{name}.json"
    if single.is_file():
        return single.read_bytes()
    found = None
    for listing in sorted((instance.store / "packs").glob("*.idx")):
        place = json.loads(listing.read_text())["objects"].get(name)
        pack = listing.with_suffix(".pack")
        if place and pack.exists():
            data = pack.read_bytes()
            found = data[place[0]:sum(place)] if sum(place) <= len(data) else None
    return found


def due_of_verify(instance, backup):
    """The problems that `verify` has to print of a plain backup, found without it."""
    due = []
    for section in instance.declared(backup):
        if not (instance.backups_path / backup / "sections" / f"{section}.json").exists():
            due.append(f"✗ {section}: index missing")
            continue
        for item in instance.index(backup, section)["items"]:
            for name in item["objects"].values():
                data = stored(instance, name)
                if data is None or hashlib.sha256(data).hexdigest() != name:
                    due.append(f"✗ {section}/{item['id']}: object {name} {'missing' if data is None else 'corrupt'}")
            if item.get("file", {}).get("sha256"):
                due += _file_problem(instance, item["file"])
    return sorted(due)


def _file_problem(instance, file):
    path = instance.store / "files" / file["sha256"][:2] / file["sha256"]
    if not path.exists():
        return [f"✗ file {file['fileName']}: {file['sha256']} missing"]
    if hashlib.sha256(path.read_bytes()).hexdigest() != file["sha256"]:
        return [f"✗ file {file['fileName']}: corrupt"]
    return []


def verify_says(programs, instance, backup, due, key=()):
    """That `verify` prints these problems and no others."""
    end = programs.run("orvikctl", "verify", instance.path, backup, *key)
    lines = end.out.splitlines()
    said = sorted(line for line in lines if line.startswith("✗"))
    problems = [f"verify does not say {each!r}" for each in due if each not in said]
    problems += [f"verify says {each!r}" for each in said if each not in due]
    if end.status != bool(due) or (due and f"{len(due)} problem(s) in {backup}" not in lines):
        problems.append(f"verify ends otherwise: {end.text()} {lines[-1:]}")
    return problems


def checked(programs, instance, *more):
    """How `check` ends that reads everything, and its findings."""
    end = programs.run("orvik", "check", instance.path, "--read-data", "100%", "--json", *more)
    lines = [json.loads(line) for line in end.out.splitlines()]
    return end, [line for line in lines if line["event"] == "finding"]


def check_finds(programs, instance, text, *more, kinds=()):
    """That `check` tells a damage whose path or object holds this text."""
    end, findings = checked(programs, instance, *more)
    if end.status != 4:
        return [f"check ends with {end.text()}"]
    told = [each["kind"] for each in findings if each["severity"] == "damage" and
            text in each["path"] + each.get("object", "")]
    if not told:
        return [f"check says nothing of {text}, but {[each['kind'] for each in findings]}"]
    return [f"check calls it {told}"] if kinds and not set(told) & set(kinds) else []


def sound(programs, instance, *more):
    """That `check` finds no damage."""
    end, findings = checked(programs, instance, *more)
    damage = [f"{each['kind']} at {each['path']}" for each in findings if each["severity"] == "damage"]
    return [] if end.status == 0 and not damage else [f"check ends with {end.status} and finds {damage[:3]}"]


def calm(end, seconds=20):
    """It ended in time, by itself."""
    if end.hung or end.seconds > seconds:
        return [f"it took {end.seconds:.0f} s"]
    return [f"it crashed: {end.text()}"] if end.crashed or end.status < 0 else []
