"""Group D: records of other releases, and of no release at all."""

import json

from campaign import row
from damage import calm, restored
from folders import copy_tree
from group_a import garbage, organisation_key
from invariants import kept, told
from scene import Scene

UNKNOWN = {"aKeyOfLater": {"deep": [1, None, "x"]}}
OTHER = {str: 7, int: "text", float: "text", bool: "text", list: {}, dict: [], type(None): 1}

# What a manifest has to have, and what it may lack; one of each kind of member of a member.
MANIFEST = {"formatVersion", "backupID", "instance", "orvikVersion", "startedAt", "finishedAt", "status", "options",
            "sections", "totals"}
SUMMARY = {"id", "title", "status", "counts"}
INDEX = {"sectionID", "title", "sources", "items", "removed", "errors"}
ITEM = {"id", "objects", "change"}


def variants(record, required, place=()):
    """Records with one member changed, with what has to come of it: True when it still counts as a record."""
    inner = record
    for step in place:
        inner = inner[step]
    name = "/".join(map(str, place)) or "top"

    def made(change):
        fresh = json.loads(json.dumps(record))
        target = fresh
        for step in place:
            target = target[step]
        change(target)
        return fresh

    for key in sorted(inner):
        yield f"{name} without {key}", made(lambda target, key=key: target.pop(key)), key not in required
        yield f"{name}, {key} of another type", made(
            lambda target, key=key: target.update({key: OTHER[type(target[key])]})), False
    yield f"{name} with a key of a later release", made(lambda target: target.update(UNKNOWN)), True


def manifests(record):
    yield from variants(record, MANIFEST)
    yield from variants(record, SUMMARY, ("sections", 0))
    for version in (0, 1, 4, 99, 2**62):
        yield f"format version {version}", {**record, "formatVersion": version}, True
    for status in ("incomplete", "COMPLETE", "", "completeWithErrors"):
        yield f"status {status!r}", {**record, "status": status}, False
    for date in ("yesterday", "", "2025-01-01", "2025-13-01T00:00:00Z"):
        yield f"finished {date!r}", {**record, "finishedAt": date}, False
    sections = json.loads(json.dumps(record["sections"]))
    sections[0]["status"] = "unheardOf"
    yield "a section's status that nobody knows", {**record, "sections": sections}, False


def indexes(record):
    yield from variants(record, INDEX)
    yield from variants(record, ITEM, ("items", 0))
    changed = json.loads(json.dumps(record))
    changed["items"][0]["change"] = "renamed"
    yield "a change that nobody knows", changed, False


@row("D11", "Unknown versions and words, keys too many and too few, in every record")
def strange_records(stage):
    scene = Scene(stage)
    programs = stage.programs
    source = stage.folder / "half"
    garbage(scene, source)
    scene.server.change_to(2)
    instance = scene.reset(source)
    before = instance.backups()
    backup = before[-1]
    manifest = instance.backups_path / backup / "manifest.json"
    index = instance.backups_path / backup / "sections" / "scripts.json"

    def some(cases, quick):
        cases = list(cases)
        return stage.random.sample(cases, quick) if stage.quick and len(cases) > quick else cases

    for path, cases, visible in ((manifest, manifests, lambda: f"{backup}  " in programs.run(
            "orvikctl", "list", instance.path).out),
                                 (index, indexes, lambda: programs.run(
                                     "orvikctl", "verify", instance.path, backup).status == 0)):
        for name, record, counts in some(cases(json.loads(path.read_text())), 5):
            scene.reset(source)
            with restored(path):
                path.write_text(json.dumps(record))
                seen = visible()
                problems = [] if seen == counts else [f"it is {'' if seen else 'not '}taken for a record"]
                problems += careful(stage, instance)
            stage.tally.add(f"{path.name}, {name}", problems + kept(programs, instance, before) +
                            scene.lost(instance))
    for path in (instance.path / "instance.json", next((instance.store / "packs").glob("*.idx"))):
        scene.reset(source)
        for name, record, _ in some(variants(json.loads(path.read_text()), set()), 3):
            scene.reset(source)
            with restored(path):
                path.write_text(json.dumps(record))
                problems = careful(stage, instance)
            stage.tally.add(f"{path.name}, {name}", problems + kept(programs, instance, before) +
                            scene.lost(instance))
    key_records(stage, scene, some)
    states(stage, scene, some)


def careful(stage, instance, *more):
    """Check and gc come to an end of their own."""
    checked = stage.programs.run("orvik", "check", instance.path, "--quiet", *more)
    collected = stage.programs.run("orvik", "gc", instance.path, "--yes", "--quiet", *more)
    return calm(checked) + calm(collected) + (told(collected) if collected.status else [])


def key_records(stage, scene, some):
    """A sealed folder never gets another key."""
    key = ["--key", organisation_key(stage.folder)]
    sealed = stage.folder / "sealed"
    scene.succeed(scene.backup(sealed, "--encrypt", *key), "a sealed backup")
    instance = scene.reset(sealed)
    record = instance.path / "encryption.json"
    before = instance.backups()
    whole = json.loads(record.read_text())
    for name, changed, _ in some([*variants(whole, set()), *variants(whole, set(), ("keys", 0))], 3):
        scene.reset(sealed)
        with restored(record):
            text = json.dumps(changed)
            record.write_text(text)
            end = scene.backup(None, *key)
            problems = calm(end) + (told(end) if end.status else [])
            if record.read_text() != text:
                problems.append("the record was replaced")
            problems += careful(stage, instance, *key)
        for backup in before:
            verified = stage.programs.run("orvikctl", "verify", instance.path, backup, *key)
            problems += [] if verified.status == 0 else [verified.text()]
        stage.tally.add(f"encryption.json, {name}", problems)


def states(stage, scene, some):
    """What an interrupted run says of itself: the next run makes a whole backup in any case."""
    instance = scene.reset()
    total = scene.calls("rename")
    scene.reset()
    fault = stage.fault("rename", [scene.root], "kill", at=total // 2)
    scene.backup(fault=fault)
    fault.close()
    instance.lock.unlink(missing_ok=True)
    broken = stage.folder / "broken"
    copy_tree(scene.root, broken)
    state = next(instance.backups_path.glob("*.partial")) / "state.json"
    for name, changed, _ in some(variants(json.loads(state.read_text()), set()), 3):
        scene.reset(broken)
        state.write_text(json.dumps(changed))
        stage.tally.add(f"state.json, {name}", scene.recovers(instance, scene.before))
    scene.reset(broken)
    lines = state.with_name("journal.jsonl")
    first, *rest = lines.read_text().splitlines()
    for name, changed, _ in some([*variants(json.loads(first), set()),
                                  *variants(json.loads(first), set(), ("item",))], 3):
        scene.reset(broken)
        lines.write_text("\n".join([json.dumps(changed), *rest]) + "\n")
        stage.tally.add(f"journal.jsonl, {name}", scene.recovers(instance, scene.before))
