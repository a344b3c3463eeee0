"""Group D: sealed folders whose key record or sealed content is not what it was."""

import json
import shutil

from campaign import row
from damage import Mixed, calm, check_finds, checked, flip, restored, verify_says
from folders import snapshot
from group_a import organisation_key
from invariants import told
from scene import Scene

MAGIC = b"ORVIK-AEAD1\n"


class Sealed:
    """A sealed folder with its key, whose newest backup is of what the server has now."""

    def __init__(self, stage):
        self.stage = stage
        self.scene = Scene(stage)
        self.key = ["--key", organisation_key(stage.folder)]
        self.mixed = Mixed(self.scene, "--encrypt", *self.key, name="sealed")
        self.instance = self.mixed.reset()
        self.record = self.instance.path / "encryption.json"

    def intact(self):
        return [problem for backup in self.mixed.backups
                for problem in verify_says(self.stage.programs, self.instance, backup, [], self.key)]

    def export(self, to):
        """What is handed out of the newest backup."""
        for section in ("scripts", "packages", "buildings", "categories"):
            end = self.stage.programs.run("orvik", "export", self.instance.path, section, "--out", to / section,
                                          *self.key)
            yield section, end


def foreign_record(sealed):
    """A record of the same organisation key that holds another data key: one of another folder."""
    scene = sealed.scene
    other = scene.empty("other")
    scene.succeed(scene.backup(other, "--encrypt", *sealed.key), "a backup into another sealed folder")
    return (other / sealed.instance.path.name / "encryption.json").read_bytes()


def strangers_record(sealed):
    """A record for a key that nobody here has."""
    scene = sealed.scene
    folder = sealed.stage.fresh("stranger")
    key = organisation_key(folder)
    other = scene.empty("strange")
    scene.succeed(scene.backup(other, "--encrypt", "--key", key), "a backup for another key")
    return (other / sealed.instance.path.name / "encryption.json").read_bytes()


@row("D7", "encryption.json absent, empty, cut, garbled, a folder, unreadable, or of another key")
def lost_key_records(stage):
    sealed = Sealed(stage)
    instance, record, programs = sealed.instance, sealed.record, stage.programs
    foreign, strange = foreign_record(sealed), strangers_record(sealed)
    whole = record.read_bytes()
    variants = {
        "absent": record.unlink,
        "empty": lambda: record.write_bytes(b""),
        "cut": lambda: record.write_bytes(whole[:len(whole) // 2]),
        "garbled": lambda: record.write_bytes(whole.replace(b'"keys"', b'"kegs"')),
        "a folder": lambda: (record.unlink(), record.mkdir()),
        "unreadable": lambda: None,
        "of another folder": lambda: record.write_bytes(foreign),
        "of another key": lambda: record.write_bytes(strange),
    }
    commands = {
        "run": ["orvik", *sealed.scene.arguments(None, *sealed.key)],
        "sealing run": ["orvik", *sealed.scene.arguments(None, "--encrypt", *sealed.key)],
        "gc": ["orvik", "gc", instance.path, "--yes", "--quiet", *sealed.key],
        "verify": ["orvikctl", "verify", instance.path, *sealed.key],
    }
    for number, (name, change) in enumerate(variants.items()):
        for command in list(commands)[number % 2::2] if stage.quick else commands:
            words = commands[command]
            sealed.mixed.reset()
            change()
            before = snapshot(instance.path)
            fault = stage.fault("open", [record], "error:5", at=1, until=0) if name == "unreadable" else None
            end = programs.run(*words, fault=fault)
            if fault:
                fault.close()
            problems = told(end) if command != "verify" else calm(end) + ([] if end.status else ["verify is content"])
            if snapshot(record.parent).get(record.name) != before.get(record.name):
                problems.append("the record was replaced")
            content = {path for path in before if path.startswith(("store/", "backups/"))}
            if {path for path in snapshot(instance.path) if path.startswith(("store/", "backups/"))} != content:
                problems.append("the folder was written to")
            if record.is_dir():
                record.rmdir()
            record.write_bytes(whole)
            stage.tally.add(f"{name}, {command}", problems + sealed.intact())
        sealed.mixed.reset()
        change()
        end = programs.run("orvik", "repair", instance.path, "--yes", "--quiet", *sealed.key)
        problems = calm(end)
        restorable = name in ("absent", "empty", "cut", "garbled")
        if restorable and (not record.is_file() or record.read_bytes() != whole):
            problems.append(f"the record did not come back: {end.text()}")
        if record.is_dir():
            shutil.rmtree(record)
        record.write_bytes(whole)
        stage.tally.add(f"{name}, repair", problems + sealed.intact())


def blobs(sealed, stage):
    """Sealed content that is not what its name says: name, and how it comes to be."""
    paths = sorted((sealed.instance.store / "objects").glob("*/*.json"))
    newest = sealed.instance.backups_path / sealed.mixed.newest / "sections"
    yield "blobs of two objects swapped", paths, swap
    yield "the tag flipped", paths, lambda path, _: flip(path, path.stat().st_size - 1 - stage.random.randrange(16))
    yield "the nonce flipped", paths, lambda path, _: flip(path, 12 + stage.random.randrange(12))
    yield "the content flipped", paths, lambda path, _: flip(path, 24 + stage.random.randrange(
        path.stat().st_size - 40))
    yield "the magic alone", paths, lambda path, _: path.write_bytes(MAGIC)
    for length in stage.random.sample(range(41), 2) if stage.quick else range(41):
        yield f"{length} bytes", paths, lambda path, _, length=length: path.write_bytes(path.read_bytes()[:length])
    yield "the magic without a whole box", paths, lambda path, _: path.write_bytes(MAGIC + bytes(27))
    yield "an empty box of zeros", paths, lambda path, _: path.write_bytes(MAGIC + bytes(28))
    yield "an index in an object's place", paths, lambda path, _: shutil.copyfile(newest / "scripts.json", path)


def swap(path, other):
    first, second = path.read_bytes(), other.read_bytes()
    path.write_bytes(second)
    other.write_bytes(first)


@row("D8", "Sealed blobs that are swapped, flipped, cut, or magic alone")
def damaged_blobs(stage):
    sealed = Sealed(stage)
    instance = sealed.instance
    clean = stage.fresh("clean")
    for _, end in sealed.export(clean):
        Scene.succeed(end, "the export of the whole folder")
    good = snapshot(clean)
    for name, paths, spoil in blobs(sealed, stage):
        for _ in range(stage.size(1, 4)):
            sealed.mixed.reset()
            path, other = stage.random.sample(paths, 2)
            spoil(path, other)
            names = {path.stem, other.stem} if "swapped" in name else {path.stem}
            end = stage.programs.run("orvikctl", "verify", instance.path, *sealed.key)
            problems = [f"verify does not say {each}" for each in names if f"object {each} corrupt" not in end.out]
            if f"{len(names)} problem(s)" not in end.out:
                problems.append(f"verify says more or less: {end.out[-160:]!r}")
            problems += check_finds(stage.programs, instance, path.name, *sealed.key)
            out = stage.fresh("out")
            for section, end in sealed.export(out):
                problems += calm(end)
            handed = snapshot(out)
            problems += [f"{each} is handed out" for each, digest in handed.items() if good.get(each) != digest]
            stage.tally.planted(name, problems)
    for section, other in (("scripts", "packages"), ("packages", "scripts"), ("packageFiles", "jcdsFiles")):
        sealed.mixed.reset()
        folder = instance.backups_path / sealed.mixed.newest / "sections"
        swap(folder / f"{section}.json", folder / f"{other}.json")
        stage.tally.planted(f"the indexes of {section} and {other} swapped",
                            check_finds(stage.programs, instance, f"{section}.json", *sealed.key))
        sealed.mixed.reset()
        flip(folder / f"{section}.json", 40)
        end = stage.programs.run("orvikctl", "verify", instance.path, *sealed.key)
        problems = [] if f"✗ {section}: index missing" in end.out else [f"verify says {end.out[-160:]!r}"]
        problems += check_finds(stage.programs, instance, f"{section}.json", *sealed.key, kinds=("indexUnreadable",))
        stage.tally.planted(f"the index of {section} flipped", problems)
    sealed.mixed.reset()
    stage.tally.add("the whole folder", sealed.intact())


FORMS = ("whole", "emptied")


@row("D9", "An index that is not sealed, planted in a sealed backup")
def planted_indexes(stage):
    sealed = Sealed(stage)
    instance = sealed.instance
    plain = Mixed(sealed.scene, name="plain")
    source = plain.reset().backups_path / plain.newest / "sections"
    indexes = {path.name: path.read_text() for path in source.iterdir()}
    shutil.rmtree(plain.root)
    sealed.mixed.reset()
    for backup in sealed.mixed.backups:
        for path in sorted((instance.backups_path / backup / "sections").iterdir()):
            for form in (stage.random.choice(FORMS),) if stage.quick else FORMS:
                record = json.loads(indexes[path.name])
                if form == "emptied":
                    record["items"] = []
                with restored(path):
                    path.write_text(json.dumps(record))
                    problems = check_finds(stage.programs, instance, f"{backup}/sections/{path.name}", *sealed.key,
                                           kinds=("indexPlain",))
                    _, findings = checked(stage.programs, instance)
                    if not any(each["kind"] == "indexPlain" for each in findings):
                        problems.append("check without the key does not tell it")
                stage.tally.planted(f"{path.stem} of {backup}, {form}", problems)
        extra = instance.backups_path / backup / "sections" / "departments.json"
        extra.write_text(indexes["scripts.json"])
        _, findings = checked(stage.programs, instance, *sealed.key)
        found = [each["kind"] for each in findings if extra.name in each["path"]]
        stage.tally.planted(f"a section more in {backup}", [] if found else ["check does not tell it"])
        extra.unlink()
    stage.tally.add("the whole folder", sealed.intact())
